// SPDX-License-Identifier: BSL-1.0
#include "tools/Terminal.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include <sys/ioctl.h>
#include <unistd.h>

namespace tools {
namespace {

struct Range {
  char32_t first, last;
};

constexpr std::array<Range, 5> cWithoutWidth = {
    {{0x300, 0x36F}, {0x1AB0, 0x1AFF}, {0x200B, 0x200F}, {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}}};
constexpr std::array<Range, 11> cTwoColumns = {{{0x1100, 0x115F},
                                                {0x2E80, 0x303E},
                                                {0x3041, 0xA4CF},
                                                {0xAC00, 0xD7A3},
                                                {0xF900, 0xFAFF},
                                                {0xFE30, 0xFE6F},
                                                {0xFF00, 0xFF60},
                                                {0xFFE0, 0xFFE6},
                                                {0x1F300, 0x1F64F},
                                                {0x1F900, 0x1F9FF},
                                                {0x20000, 0x3FFFD}}};

template <std::size_t count>
bool isIn(const std::array<Range, count>& ranges, char32_t character) {
  return std::any_of(ranges.begin(), ranges.end(), [=](const Range& range) {
    return character >= range.first && character <= range.last;
  });
}

/// Takes the first character of a text, which is valid UTF-8, away; returns its columns.
std::size_t takeCharacter(std::string_view& text) {
  const auto first = static_cast<unsigned char>(text[0]);
  const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  char32_t character = length == 1 ? first : first & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < std::min(length, text.size()); ++i)
    character = character << 6U | (static_cast<unsigned char>(text[i]) & 0x3FU);
  text.remove_prefix(std::min(length, text.size()));
  if (isIn(cWithoutWidth, character)) return 0;
  return isIn(cTwoColumns, character) ? 2 : 1;
}

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

}  // namespace

bool isTerminal(int file) {
  return isatty(file) == 1;
}

unsigned terminalWidth() {
  constexpr unsigned cUsual = 80;
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  const int columns = isSet("COLUMNS") ? std::atoi(std::getenv("COLUMNS")) : 0;
  return columns > 0 ? static_cast<unsigned>(columns) : cUsual;
}

Style Style::ofOutput() {
  Style style;
  if (!isTerminal(STDOUT_FILENO)) return style;
  const char* terminal = std::getenv("TERM");
  style.mHasColours =
      !isSet("NO_COLOR") && terminal != nullptr && std::string_view(terminal) != "dumb";
  style.mColumns = terminalWidth();
  return style;
}

std::string Style::operator()(eColour colour, std::string_view text) const {
  if (!mHasColours) return std::string(text);
  constexpr std::array<const char*, 5> cCodes = {"32", "33", "31", "2", "1"};
  return std::string("\033[") + cCodes[static_cast<std::size_t>(colour)] + "m" + std::string(text) +
         "\033[0m";
}

std::size_t columnsOf(std::string_view text) {
  std::size_t columns = 0;
  while (!text.empty())
    columns += takeCharacter(text);
  return columns;
}

std::string cut(std::string_view text, std::size_t columns) {
  if (columnsOf(text) <= columns) return std::string(text);
  const std::string_view dots = std::string_view("...").substr(0, columns);
  std::string_view rest = text;
  std::size_t used = 0;
  for (std::string_view next = rest;; rest = next) {
    used += takeCharacter(next);
    if (used + dots.size() > columns) break;
  }
  return std::string(text.substr(0, text.size() - rest.size())) + std::string(dots);
}

std::string cell(std::string_view text, std::size_t columns) {
  std::string result = cut(text, columns);
  return result.append(columns - columnsOf(result), ' ');
}

}  // namespace tools
