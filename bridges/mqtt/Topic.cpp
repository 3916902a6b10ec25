// SPDX-License-Identifier: BSL-1.0
#include "bridges/mqtt/Topic.h"

#include <charconv>

#include <fmt/core.h>

#include "lipc/session/SessionNames.h"

namespace mqtt {
namespace {

constexpr std::string_view cParameters = "parameters/";
constexpr std::string_view cStrings = "strings/";

/// Not by the locale.
bool standsForItself(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("-._~@").find(c) != std::string_view::npos;
}

}  // namespace

std::string escaped(std::string_view text) {
  std::string level;
  for (const char c : text) {
    if (standsForItself(c)) {
      level += c;
    } else {
      level += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
  }
  return level;
}

std::optional<std::string> unescaped(std::string_view level) {
  std::string text;
  for (std::size_t i = 0; i < level.size(); ++i) {
    if (level[i] != '%') {
      text += level[i];
      continue;
    }
    unsigned byte = 0;
    const std::string_view digits = level.substr(i + 1, 2);
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
    if (error != std::errc() || digits.size() != 2 || end != digits.data() + 2) return std::nullopt;
    text += static_cast<char>(byte);
    i += 2;
  }
  if (text.empty() || escaped(text) != level) return std::nullopt;
  return text;
}

std::string placeTail(const tools::ValuePlace& place) {
  return fmt::format("{}{}", place.isText ? cStrings : cParameters, place.index);
}

std::optional<tools::ValuePlace> placeOfTail(std::string_view tail) {
  tools::ValuePlace place;
  place.isText = tail.starts_with(cStrings);
  if (!place.isText && !tail.starts_with(cParameters)) return std::nullopt;
  const std::string_view number = tail.substr((place.isText ? cStrings : cParameters).size());
  std::from_chars(number.data(), number.data() + number.size(), place.index, 10);
  const unsigned count = place.isText ? LIPC::cStringSlotCount : LIPC::cOfflineParameterCount;
  // One spelling alone: "07" is no place.
  if (place.index >= count || placeTail(place) != tail) return std::nullopt;
  return place;
}

std::optional<SiteTopics::OfClient> SiteTopics::takeApart(std::string_view topic) const {
  const std::string clients = mRoot + "clients/";
  if (!topic.starts_with(clients)) return std::nullopt;
  topic.remove_prefix(clients.size());
  const std::size_t end = topic.find('/');
  const auto id = unescaped(topic.substr(0, end));
  if (!id || (end != std::string_view::npos && end + 1 == topic.size())) return std::nullopt;
  return OfClient{
      *id, end == std::string_view::npos ? std::string() : std::string(topic.substr(end + 1))};
}

}  // namespace mqtt
