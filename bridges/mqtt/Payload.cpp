// SPDX-License-Identifier: BSL-1.0
#include "bridges/mqtt/Payload.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <optional>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "bridges/mqtt/Topic.h"
#include "tools/ForeignRow.h"
#include "tools/Picture.h"

namespace mqtt {
namespace {

using json = nlohmann::ordered_json;
using tools::ValuePlace;

/// More than any message of ours has.
constexpr std::size_t cMostBytes = 65536;

bool isUtf8(const std::string& text) {
  try {
    (void)json(text).dump();
    return true;
  } catch (const json::exception&) {
    return false;
  }
}

json parsed(std::string_view payload) {
  if (payload.size() > cMostBytes) throw BadMessage("it is too long");
  json value = json::parse(payload, nullptr, false);
  if (value.is_discarded()) throw BadMessage("it is no JSON");
  return value;
}

json parsedObject(std::string_view payload) {
  json value = parsed(payload);
  if (!value.is_object()) throw BadMessage("it is no JSON object");
  return value;
}

const json& member(const json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end()) throw BadMessage(fmt::format("it has no \"{}\"", key));
  return *found;
}

std::string textMember(const json& object, const char* key) {
  const json& value = member(object, key);
  if (!value.is_string()) throw BadMessage(fmt::format("its \"{}\" is no text", key));
  return value.get<std::string>();
}

std::string hex(std::string_view bytes) {
  std::string digits;
  for (const char byte : bytes)
    digits += fmt::format("{:02x}", static_cast<unsigned char>(byte));
  return digits;
}

std::string bytesOf(const std::string& digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    unsigned byte = 0;
    const char* const first = digits.data() + i;
    if (std::from_chars(first, first + 2, byte, 16).ptr != first + 2) break;
    bytes += static_cast<char>(byte);
  }
  if (bytes.size() * 2 != digits.size())
    throw BadMessage("its \"bytes\" are no hexadecimal digits");
  return bytes;
}

/// The float that is written there; nothing where it is no number or none that a float can have.
std::optional<float> finiteNumber(std::string_view text) {
  // As JSON writes numbers: no blanks, no words, no other bases.
  const bool isDecimal = text.find_first_not_of("0123456789.eE+-") == std::string_view::npos;
  if (text.empty() || text.front() == '+' || !isDecimal) return std::nullopt;
  const std::string whole(text);
  char* end = nullptr;
  const auto value = static_cast<float>(std::strtod(whole.c_str(), &end));
  if (end != whole.c_str() + whole.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

/// What stands behind a command's name is its user's business, and not the house's.
void shorten(json& process) {
  const auto command = process["command"].get<std::string>();
  process["command"] = command.substr(0, command.find(' '));
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

const std::string& checkedText(const std::string& text) {
  if (text.size() > tools::ForeignRow::cTextBytes) {
    throw BadMessage(fmt::format("the text has {} bytes, and a string has room for {}", text.size(),
                                 tools::ForeignRow::cTextBytes));
  }
  if (text.find('\0') != std::string::npos) throw BadMessage("the text has a NUL in it");
  if (!isUtf8(text)) throw BadMessage("the text is no UTF-8");
  return text;
}

}  // namespace

std::string hostPayload(const std::string& state, const inspect::SessionPicture& session) {
  json host = {{"format", "lipc-mqtt"}, {"version", 1}, {"state", state}};
  if (session.state == inspect::SessionPicture::eRead) {
    host.update(tools::sessionJson(session)["host"]);
    host.erase("heartbeat");
    host["beating"] = state == "alive";
    if (host["process"].is_object()) shorten(host["process"]);
  }
  return tools::dump(host, -1);
}

std::string hostStateOf(std::string_view payload) {
  return textMember(parsedObject(payload), "state");
}

std::string rowPayload(const inspect::ClientPicture& client,
                       const std::set<ValuePlace>& published) {
  json row = tools::rowJson(client, {});
  // What ages, and what has topics of its own.
  row.erase("stampAgeSeconds");
  row.erase("settings");
  if (row["process"].is_object()) {
    row["process"].erase("lives");
    row["process"].erase("stopped");
    shorten(row["process"]);
  }
  row["typeCode"] = client.type;
  json& topics = row["topics"] = json::array();
  for (const ValuePlace& place : published)
    topics.push_back(placeTail(place));
  return tools::dump(row, -1);
}

RowMessage readRow(std::string_view payload) {
  const json row = parsedObject(payload);
  RowMessage message;
  const json& type = member(row, "typeCode");
  if (!type.is_number_unsigned() || type.get<std::uint64_t>() > UINT32_MAX)
    throw BadMessage("its \"typeCode\" is no type");
  message.type = type.get<std::uint32_t>();
  message.name = textMember(row, "name");
  if (message.name.find('\0') != std::string::npos)
    throw BadMessage("its \"name\" has a NUL in it");
  message.isAlive = textMember(row, "life") == "alive";
  const json& topics = member(row, "topics");
  if (!topics.is_array()) throw BadMessage("its \"topics\" are no array");
  for (const json& tail : topics) {
    const auto place = tail.is_string() ? placeOfTail(tail.get<std::string>()) : std::nullopt;
    if (!place) throw BadMessage("its \"topics\" name what is no parameter or string");
    message.published.insert(*place);
  }
  return message;
}

std::string valuePayload(const tools::ClientValue& value) {
  json object = tools::valueJson(value);
  // What JSON has no word for.
  if (value.place.isText && !isUtf8(value.text)) {
    object["bytes"] = hex(value.text);
  } else if (!value.place.isText && !std::isfinite(value.number)) {
    object["bytes"] = fmt::format("{:08x}", std::bit_cast<std::uint32_t>(value.number));
  }
  return tools::dump(object, -1);
}

float readNumber(std::string_view payload) {
  const json object = parsedObject(payload);
  if (object.contains("bytes")) {
    const std::string bytes = bytesOf(textMember(object, "bytes"));
    if (bytes.size() != sizeof(float)) throw BadMessage("its \"bytes\" are no number");
    std::uint32_t bits = 0;
    for (const char byte : bytes)
      bits = bits << 8 | static_cast<unsigned char>(byte);
    return std::bit_cast<float>(bits);
  }
  const json& value = member(object, "value");
  const auto number = value.is_number() ? finiteNumber(value.dump()) : std::nullopt;
  if (!number) throw BadMessage("its \"value\" is no number that a parameter can have");
  return *number;
}

std::string readText(std::string_view payload) {
  const json object = parsedObject(payload);
  std::string text =
      object.contains("bytes") ? bytesOf(textMember(object, "bytes")) : textMember(object, "value");
  // A slot's 128 bytes may be full, written by somebody who left no NUL.
  if (text.size() > tools::ForeignRow::cTextBytes + 1 || text.find('\0') != std::string::npos)
    throw BadMessage("its text is none that a string can have");
  return text;
}

float wantedNumber(std::string_view payload) {
  std::string_view text = trimmed(payload);
  std::string ofObject;
  if (text.starts_with('{')) {
    const json object = parsedObject(text);
    ofObject = member(object, "value").dump();
    text = ofObject;
  }
  const auto number = finiteNumber(text);
  if (!number) throw BadMessage("it is no number that a parameter can have");
  return *number;
}

std::string wantedText(std::string_view payload) {
  // Who takes back a message that a broker keeps sends an empty one: that sets nothing.
  if (payload.empty()) throw BadMessage("it is empty; an empty text is written \"\"");
  if (payload.front() == '{') return checkedText(textMember(parsedObject(payload), "value"));
  if (payload.front() != '"') return checkedText(std::string(payload));
  const json text = parsed(payload);
  if (!text.is_string()) throw BadMessage("it begins like a JSON text and is none");
  return checkedText(text.get<std::string>());
}

std::map<std::string, std::string> connectionPayloads(
    const std::vector<LIPC::Connection>& connections) {
  std::map<std::string, json> lists;
  for (const LIPC::Connection& connection : connections) {
    const json one = tools::connectionJson(connection);
    for (const std::string& end :
         std::set<std::string>{connection.source.text(), connection.target.text()})
      lists.try_emplace(end, json::array()).first->second.push_back(one);
  }
  std::map<std::string, std::string> payloads;
  for (const auto& [id, list] : lists)
    payloads[id] = tools::dump(list, -1);
  return payloads;
}

}  // namespace mqtt
