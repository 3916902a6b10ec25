// SPDX-License-Identifier: BSL-1.0
#include "tools/top/TopLine.h"

#include <algorithm>

#include "tools/Terminal.h"

namespace tools {
namespace {

/// Takes the first character off a text that is valid UTF-8.
std::string_view nextCharacter(std::string_view& text) {
  std::size_t length = 1;
  while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
    ++length;
  const std::string_view character = text.substr(0, length);
  text.remove_prefix(length);
  return character;
}

}  // namespace

std::string TopLine::text() const {
  std::string all;
  for (const TopSpan& span : spans)
    all += span.text;
  all.resize(all.find_last_not_of(' ') + 1);
  return all;
}

std::string fitted(std::string_view text, int columns, bool isUTF8, bool alignsRight) {
  const auto width = [&](std::string_view character) {
    return isUTF8 ? static_cast<int>(columnsOf(character)) : 1;
  };
  int needed = 0;
  for (std::string_view rest = text; !rest.empty();)
    needed += width(nextCharacter(rest));
  const bool isCut = needed > columns;
  std::string result;
  int used = 0;
  while (!text.empty()) {
    const std::string_view character = nextCharacter(text);
    if (used + width(character) > columns - (isCut ? 1 : 0)) break;
    result += isUTF8 || character.size() == 1 ? std::string(character) : "?";
    used += width(character);
  }
  if (isCut && columns > 0) {
    result += isUTF8 ? "…" : "~";
    ++used;
  }
  const std::string filling(static_cast<std::size_t>(std::max(columns - used, 0)), ' ');
  return alignsRight ? filling + result : result + filling;
}

}  // namespace tools
