// SPDX-License-Identifier: BSL-1.0
#include "tools/serve/PageJson.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "tools/Picture.h"
#include "tools/Text.h"

namespace tools {
namespace {

using inspect::ClientPicture;
using json = nlohmann::ordered_json;

const char* stateName(PagePicture::eState state) {
  switch (state) {
    case PagePicture::eAlive:
      return "alive";
    case PagePicture::eStalled:
      return "stalled";
    case PagePicture::eFrozen:
      return "frozen";
    case PagePicture::eUnreadable:
      return "unreadable";
    case PagePicture::eNone:
      break;
  }
  return "none";
}

const char* lifeName(TopRow::eLife life) {
  switch (life) {
    case TopRow::eAlive:
      return "alive";
    case TopRow::eStale:
      return "stale";
    case TopRow::eGone:
      return "gone";
    case TopRow::eUnknown:
      break;
  }
  return "unknown";
}

/// What other processes wrote, made printable.
json madePrintable(json value) {
  if (value.is_string()) return printable(value.get_ref<const std::string&>());
  if (value.is_array())
    for (json& element : value)
      element = madePrintable(std::move(element));
  if (value.is_object())
    for (auto& [key, element] : value.items())
      element = madePrintable(std::move(element));
  return value;
}

/// To a tenth; none where there is no level.
json levelJson(float dB) {
  constexpr float cHighestDB = 999.9F;
  if (!(dB > PeakHold::cBottomDB)) return nullptr;
  return std::round(std::min(dB, cHighestDB) * 10.0) / 10.0;
}

json metersJson(const std::vector<TopMeter>& meters) {
  json list = json::array();
  for (const TopMeter& meter : meters)
    list.push_back({levelJson(meter.dB), levelJson(meter.heldDB)});
  return list;
}

json movingJson(const TopRow& row) {
  json moving = {{"key", pageKey(row)},
                 {"blocksPerSecond", nullptr},
                 {"blocksWaiting", nullptr},
                 {"stampAgeSeconds", nullptr},
                 {"answers", nullptr},
                 {"send", metersJson(row.send)},
                 {"answer", metersJson(row.answer)}};
  if (row.blocksPerSecond) moving["blocksPerSecond"] = std::round(*row.blocksPerSecond * 10) / 10;
  if (row.client.buffer) moving["blocksWaiting"] = row.client.buffer->blocksWaiting;
  if (const auto age = row.client.stampAgeSeconds()) moving["stampAgeSeconds"] = *age;
  if (row.answers)
    moving["answers"] = {{"seen", row.answers->seen}, {"missing", row.answers->missing}};
  return moving;
}

json connectionsJson(const inspect::SessionPicture& session) {
  if (!session.connections) return nullptr;
  json connections = json::array();
  for (const LIPC::Connection& connection : *session.connections)
    connections.push_back(connectionJson(connection));
  return connections;
}

}  // namespace

inspect::SessionPicture withClients(const PagePicture& picture) {
  inspect::SessionPicture session = picture.session;
  for (const TopRow& row : picture.rows)
    if (row.life != TopRow::eGone) session.clients.push_back(row.client);
  return session;
}

std::string pageKey(const TopRow& row) {
  return fmt::format("{} {}", row.client.index, printable(row.client.id));
}

const TopRow* findRow(const PagePicture& picture, const std::string& key) {
  const auto found = std::find_if(picture.rows.begin(), picture.rows.end(),
                                  [&](const TopRow& row) { return pageKey(row) == key; });
  return found != picture.rows.end() ? &*found : nullptr;
}

json pageSession(const PagePicture& picture) {
  json host = sessionJson(picture.session)["host"];
  host.erase("heartbeat");
  host.erase("beating");
  json keys = json::array();
  for (const TopRow& row : picture.rows)
    keys.push_back(pageKey(row));
  return madePrintable({{"state", stateName(picture.state)},
                        {"sentence", picture.sentence},
                        {"host", std::move(host)},
                        {"keys", std::move(keys)},
                        {"connections", connectionsJson(picture.session)},
                        {"connectionsError", picture.session.poolError},
                        {"graph", picture.graph}});
}

json pageClient(const TopRow& row) {
  const ClientPicture& client = row.client;
  json result = {{"key", pageKey(row)},
                 {"index", client.index},
                 {"id", client.id},
                 {"name", client.name},
                 {"type", typeText(client.type)},
                 {"mode", client.mode},
                 {"modeText", modeText(client.mode)},
                 {"inputChannels", client.inputChannels},
                 {"outputChannels", client.outputChannels},
                 {"life", lifeName(row.life)}};
  return madePrintable(std::move(result));
}

json pageLevels(const PagePicture& picture) {
  json clients = json::array();
  for (const TopRow& row : picture.rows)
    clients.push_back(movingJson(row));
  return {{"heartbeat", picture.session.heartbeat}, {"clients", std::move(clients)}};
}

json pageEvent(const inspect::Event& event) {
  const std::string words = eventWords(event);
  const std::size_t end = std::min(words.find(' '), words.size());
  const std::size_t rest = std::min(words.find_first_not_of(' ', end), words.size());
  return madePrintable(
      {{"time", clockText()}, {"event", words.substr(0, end)}, {"text", words.substr(rest)}});
}

json pageDetails(const PagePicture& picture, const TopRow& row) {
  json result = clientJson(withClients(picture), row.client);
  result.update(pageClient(row));
  result.update(movingJson(row));
  result["format"] = "lipc-serve-client";
  return madePrintable(std::move(result));
}

json pageWhole(const PagePicture& picture) {
  json result = {{"format", "lipc-serve"}, {"version", 1}};
  result.update(pageSession(picture));
  result.erase("keys");
  result["host"] = sessionJson(picture.session)["host"];
  result["clients"] = json::array();
  for (const TopRow& row : picture.rows)
    result["clients"].push_back(pageDetails(picture, row));
  return madePrintable(std::move(result));
}

}  // namespace tools
