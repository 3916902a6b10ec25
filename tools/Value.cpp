// SPDX-License-Identifier: BSL-1.0
#include "tools/Value.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <map>
#include <numeric>
#include <optional>

#include "inspect/Settings.h"
#include "lipc/session/SessionNames.h"
#include "tables/MixEngineTables.h"
#include "tables/SettingsTables.h"
#include "tools/Failure.h"
#include "tools/Text.h"

namespace tools {
namespace {

using inspect::ClientPicture;

constexpr std::size_t cNearEdits = 3;

float floatOfBits(std::uint32_t bits) {
  float value = 0.0F;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

/// What the library itself writes into each row.
float libraryDefault(std::uint32_t clientType, unsigned parameter) {
  switch (parameter) {
    case 3:
      return floatOfBits(1);
    case 4:
      return 3.0F;
    case 5:
      return floatOfBits(clientType);
    case 6:
      return 5.0F;  // 1, and the bit of a client that has joined
    default:
      return 0.0F;
  }
}

template <class T>
const T* findIn(const std::map<int, T>& table, unsigned index) {
  const auto found = table.find(static_cast<int>(index));
  return found != table.end() ? &found->second : nullptr;
}

struct NamedPlace {
  std::string name;
  ValuePlace place;
};

std::vector<NamedPlace> namesOf(std::uint32_t clientType) {
  std::vector<NamedPlace> names;
  const auto add = [&](ValuePlace place) {
    std::string name = valueName(clientType, place);
    if (!name.empty()) names.push_back({std::move(name), place});
  };
  for (unsigned i = 0; i < LIPC::cOfflineParameterCount; ++i)
    add({false, i});
  for (unsigned slot = 0; slot < LIPC::cStringSlotCount; ++slot)
    add({true, slot});
  return names;
}

std::string small(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return result;
}

std::size_t editsBetween(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0U);
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

/// "p12", "s3" or "12"; nothing where it is no number of a place.
std::optional<ValuePlace> numberedPlace(std::string_view what, bool bareNumbersAreTexts) {
  ValuePlace place{bareNumbersAreTexts, 0};
  if (!what.empty() && (what[0] == 'p' || what[0] == 's')) {
    place.isText = what[0] == 's';
    what.remove_prefix(1);
  }
  const auto [end, error] =
      std::from_chars(what.data(), what.data() + what.size(), place.index, 10);
  if (what.empty() || end != what.data() + what.size()) return std::nullopt;
  if (error != std::errc()) place.index = ~0U;
  return place;
}

std::string listOf(const std::vector<NamedPlace>& names) {
  std::string list;
  for (const NamedPlace& named : names)
    list += (list.empty() ? "" : ", ") + named.name + " (" + placeText(named.place) + ")";
  return list;
}

[[noreturn]] void failUnknown(std::string_view what, const ClientPicture& client) {
  const std::vector<NamedPlace> names = namesOf(client.type);
  std::vector<NamedPlace> near;
  std::copy_if(names.begin(), names.end(), std::back_inserter(near), [&](const NamedPlace& named) {
    const std::string name = small(named.name);
    return editsBetween(name, small(what)) <= cNearEdits ||
           (!what.empty() && name.find(small(what)) != std::string::npos);
  });
  const std::string which = near.empty() ? (names.empty() ? "" : "Its names are: " + listOf(names))
                                         : "Near it are: " + listOf(near);
  throw Failure(eExitNoValue,
                "the client {} has no parameter or string \"{}\". {}{}Every one has a number: p0 "
                "to p{} are parameters, s0 to s{} strings.",
                printable(client.id), printable(what), which, which.empty() ? "" : ". ",
                LIPC::cOfflineParameterCount - 1, LIPC::cStringSlotCount - 1);
}

}  // namespace

std::string placeText(const ValuePlace& place) {
  return fmt::format("{}{}", place.isText ? 's' : 'p', place.index);
}

std::string valueName(std::uint32_t clientType, const ValuePlace& place) {
  if (clientType == LIPC::cMixEngineType && place.isText) {
    const std::string* name = findIn(Vexo::MixEngine::cStringNames, place.index);
    return name != nullptr ? *name : std::string();
  }
  return inspect::settingKey(clientType, place.isText, static_cast<int>(place.index));
}

float defaultNumber(std::uint32_t clientType, unsigned parameter) {
  const ValuePlace place{false, parameter};
  if (clientType == LIPC::cSettingsType && !valueName(clientType, place).empty())
    return static_cast<float>(Vexo::Settings::defaultOf(static_cast<int>(parameter)));
  const float* number = clientType == LIPC::cMixEngineType
                            ? findIn(Vexo::MixEngine::cOfflineParameterDefaultValues, parameter)
                            : nullptr;
  return number != nullptr ? *number : libraryDefault(clientType, parameter);
}

std::string defaultText(std::uint32_t clientType, unsigned slot) {
  if (clientType == LIPC::cMixEngineType) {
    const std::string* text = findIn(Vexo::MixEngine::cStringDefaults, slot);
    return text != nullptr ? *text : std::string();
  }
  const bool isSetting = !inspect::settingKey(clientType, true, static_cast<int>(slot)).empty();
  return isSetting ? Vexo::Settings::cFacilityDefault : "";
}

bool areSame(float a, float b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

ClientValue valueAt(const ClientPicture& client, const ValuePlace& place) {
  ClientValue value;
  value.place = place;
  value.name = valueName(client.type, place);
  if (place.isText) {
    value.text = client.strings[place.index];
    value.defaultText = defaultText(client.type, place.index);
    value.isDefault = value.text == value.defaultText;
  } else {
    value.number = client.parameters[place.index];
    value.defaultNumber = defaultNumber(client.type, place.index);
    value.isDefault = areSame(value.number, value.defaultNumber);
  }
  return value;
}

std::vector<ClientValue> valuesOf(const ClientPicture& client) {
  std::vector<ClientValue> values;
  for (unsigned i = 0; i < LIPC::cOfflineParameterCount; ++i)
    values.push_back(valueAt(client, {false, i}));
  for (unsigned slot = 0; slot < LIPC::cStringSlotCount; ++slot)
    values.push_back(valueAt(client, {true, slot}));
  return values;
}

ValuePlace placeOrFail(std::string_view what, const ClientPicture& client,
                       bool bareNumbersAreTexts) {
  if (const auto place = numberedPlace(what, bareNumbersAreTexts)) {
    if (place->index >= (place->isText ? LIPC::cStringSlotCount : LIPC::cOfflineParameterCount))
      failUnknown(what, client);
    return *place;
  }
  std::vector<NamedPlace> begins;
  for (const NamedPlace& named : namesOf(client.type)) {
    if (small(named.name) == small(what)) return named.place;
    if (!what.empty() && small(named.name).starts_with(small(what))) begins.push_back(named);
  }
  if (begins.size() > 1)
    throw Failure(eExitNoValue, "\"{}\" is the beginning of more than one name: {}. Type more.",
                  printable(what), listOf(begins));
  if (begins.empty()) failUnknown(what, client);
  return begins.front().place;
}

}  // namespace tools
