// SPDX-License-Identifier: BSL-1.0
#include "tools/Text.h"

#include <cmath>
#include <cstdlib>
#include <ctime>

#include <fmt/core.h>

#include "lipc/session/SessionNames.h"

namespace tools {
namespace {

/// Of a sequence that begins with 0xE2: marks that turn the direction of what follows, and other
/// ends of a line.
bool isDirection(unsigned second, unsigned third) {
  if (second == 0x80) return third == 0x8E || third == 0x8F || (third >= 0xA8 && third <= 0xAE);
  return second == 0x81 && third >= 0xA6 && third <= 0xA9;
}

/// Bytes of the UTF-8 sequence that begins the text, 0 when it is none.
std::size_t sequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  const std::size_t length = first < 0x80                    ? 1
                             : first >= 0xC2 && first < 0xE0 ? 2
                             : first >= 0xE0 && first < 0xF0 ? 3
                             : first >= 0xF0 && first < 0xF5 ? 4
                                                             : 0;
  if (length == 0 || length > text.size()) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  // Overlong forms, surrogates, and the control characters of the second block.
  if (first == 0xE0 && byte(1) < 0xA0) return 0;
  if (first == 0xED && byte(1) >= 0xA0) return 0;
  if (first == 0xF0 && byte(1) < 0x90) return 0;
  if (first == 0xF4 && byte(1) >= 0x90) return 0;
  if (first == 0xC2 && byte(1) < 0xA0) return 0;
  // No characters, and XML has none of them.
  if (first == 0xEF && byte(1) == 0xBF && byte(2) >= 0xBE) return 0;
  if (first == 0xE2 && isDirection(byte(1), byte(2))) return 0;
  return length;
}

/// Of the second.
int millisecondsOf(std::chrono::system_clock::time_point time) {
  const auto since = time - std::chrono::floor<std::chrono::seconds>(time);
  return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(since).count());
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = sequenceLength(text);
    const auto first = static_cast<unsigned char>(text[0]);
    if (length == 0 || first < 0x20 || first == 0x7F) {
      result += fmt::format("\\x{:02x}", first);
      text.remove_prefix(1);
    } else {
      result += text.substr(0, length);
      text.remove_prefix(length);
    }
  }
  return result;
}

std::string printableJson(std::string_view json) {
  std::string result;
  result.reserve(json.size());
  while (!json.empty()) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(json[i]); };
    std::size_t length = sequenceLength(json);
    if (length == 0 || byte(0) == 0x7F) {
      // Of one, two or three bytes: no longer sequence is refused in valid UTF-8.
      length = byte(0) < 0x80 ? 1 : byte(0) < 0xE0 ? 2 : 3;
      const unsigned code =
          length == 1   ? byte(0)
          : length == 2 ? (byte(0) & 0x1FU) << 6 | (byte(1) & 0x3FU)
                        : (byte(0) & 0xFU) << 12 | (byte(1) & 0x3FU) << 6 | (byte(2) & 0x3FU);
      result += fmt::format("\\u{:04x}", code);
    } else {
      result += json.substr(0, length);
    }
    json.remove_prefix(length);
  }
  return result;
}

std::string typeText(std::uint32_t type) {
  std::string characters;
  for (int shift = 24; shift >= 0; shift -= 8) {
    characters += static_cast<char>((type >> shift) & 0xFF);
  }
  return printable(characters);
}

std::string modeText(std::uint32_t mode) {
  std::string words;
  const auto add = [&](std::uint32_t bit, const char* word) {
    if ((mode & bit) != 0) words += (words.empty() ? "" : ", ") + std::string(word);
  };
  add(LIPC::eClientModeInputs, "inputs");
  add(LIPC::eClientModeOutputs, "outputs");
  // Beside inputs the bit only has the blocks announced.
  const bool sends = (mode & LIPC::eClientModeInputs) != 0;
  add(LIPC::eClientModeNoAudio, sends ? "announced" : "no audio");
  add(LIPC::eClientModeExclusive, "exclusive");
  return words.empty() ? fmt::format("{}", mode) : fmt::format("{} ({})", mode, words);
}

std::string modeLetters(std::uint32_t mode) {
  std::string letters = "----";
  for (std::size_t bit = 0; bit < letters.size(); ++bit)
    if ((mode >> bit & 1U) != 0) letters[bit] = "ionx"[bit];
  return mode >> letters.size() == 0 ? letters : letters + "+";
}

std::string ageText(long seconds) {
  const long size = std::labs(seconds);
  if (size < 120) return fmt::format("{} s", seconds);
  if (size < 120L * 60) return fmt::format("{} min", seconds / 60);
  if (size < 48L * 3600) return fmt::format("{} h", seconds / 3600);
  return fmt::format("{} d", seconds / (24L * 3600));
}

std::string rangesText(const std::vector<int>& numbers) {
  std::string text;
  for (std::size_t i = 0; i < numbers.size();) {
    std::size_t last = i;
    while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1)
      ++last;
    text += (text.empty() ? "" : ", ") + std::to_string(numbers[i]);
    if (last > i) text += fmt::format("-{}", numbers[last]);
    i = last + 1;
  }
  return text;
}

std::string countText(std::size_t count, std::string_view thing) {
  return fmt::format("{} {}{}", count, thing, count == 1 ? "" : "s");
}

std::string numberText(float value) {
  return std::isnan(value) ? "nan" : fmt::format("{}", value);
}

std::string clockText(std::chrono::system_clock::time_point time) {
  const std::time_t seconds =
      std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(time));
  std::tm local{};
  localtime_r(&seconds, &local);
  return fmt::format("{:02}:{:02}:{:02}.{:03}", local.tm_hour, local.tm_min, local.tm_sec,
                     millisecondsOf(time));
}

std::string isoTimeText(std::chrono::system_clock::time_point time) {
  const std::time_t seconds =
      std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(time));
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", utc.tm_year + 1900,
                     utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                     millisecondsOf(time));
}

std::string clockText() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return fmt::format("{:02}:{:02}:{:02}", local.tm_hour, local.tm_min, local.tm_sec);
}

}  // namespace tools
