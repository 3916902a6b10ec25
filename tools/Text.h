#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

/// Words for what a session holds. Texts come from other processes' memory: what is not printable
/// is escaped, so that no name can play with a terminal.
namespace tools {

/// Valid UTF-8 without control characters; anything else as \xNN.
std::string printable(std::string_view text);
/// A four-character code as its characters, padded with nothing, unprintable ones escaped.
std::string typeText(std::uint32_t type);
/// "4 (no audio)"
std::string modeText(std::uint32_t mode);
/// The shortest decimal that reads back as the same float.
std::string numberText(float value);
/// HH:MM:SS, local time.
std::string clockText();
/// HH:MM:SS.mmm, local time.
std::string clockText(std::chrono::system_clock::time_point time);
/// ISO 8601 with milliseconds: "2025-01-31T22:59:59.999Z".
std::string isoTimeText(std::chrono::system_clock::time_point time);

}  // namespace tools
