// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "inspect/Picture.h"

/// The values in a client's row: its offline parameters and its strings, and what the tables know
/// of them.
namespace tools {

struct ValuePlace {
  bool isText = false;
  unsigned index = 0;  // offline parameter, or string slot when isText

  // NOLINTNEXTLINE(modernize-use-nullptr): clang-tidy 14 takes what it stands for to be a pointer.
  auto operator<=>(const ValuePlace& other) const = default;
};

/// "p12" or "s3": a place as it is typed.
std::string placeText(const ValuePlace& place);
/// What tables say of a place in the row of a client of this type: a setting's key, the name of a
/// string of the mix engine; empty where they say nothing.
std::string valueName(std::uint32_t clientType, const ValuePlace& place);
/// What a client of this type has there until somebody changes it. Not a number: never set.
float defaultNumber(std::uint32_t clientType, unsigned parameter);
std::string defaultText(std::uint32_t clientType, unsigned slot);
/// Whether both are one value: the same number, or none.
bool areSame(float a, float b);

/// A value that a client has, beside its default.
struct ClientValue {
  ValuePlace place;
  std::string name;
  float number = 0.0F;  // of a parameter
  float defaultNumber = 0.0F;
  std::string text;  // of a string
  std::string defaultText;
  bool isDefault = false;
};
ClientValue valueAt(const inspect::ClientPicture& client, const ValuePlace& place);
nlohmann::ordered_json valueJson(const ClientValue& value);
/// All parameters, then all strings.
std::vector<ClientValue> valuesOf(const inspect::ClientPicture& client);

/// The place that WHAT names in this client's row: "p12" an offline parameter, "s3" a string, "12"
/// what `bareNumbersAreTexts` says, else a name of the tables or the beginning of one, in small or
/// capital letters. Throws Failure (eExitNoValue) with the names that are near.
ValuePlace placeOrFail(std::string_view what, const inspect::ClientPicture& client,
                       bool bareNumbersAreTexts = false);

}  // namespace tools
