// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Words for what a session holds. Texts come from other processes' memory: what is not printable
/// is escaped, so that no name can play with a terminal.
namespace tools {

/// Valid UTF-8 without control characters and marks of direction; anything else as \xNN.
std::string printable(std::string_view text);
/// The same for a text of JSON, which has its line feeds; anything else as \uNNNN.
std::string printableJson(std::string_view json);
/// A four-character code as its characters, padded with nothing, unprintable ones escaped.
std::string typeText(std::uint32_t type);
/// "4 (no audio)"
std::string modeText(std::uint32_t mode);
/// Mode bits as letters, each in a place of its own: "io--" inputs and outputs, "--n-" no audio,
/// "---x" exclusive; then "+" where there are bits that have no meaning.
std::string modeLetters(std::uint32_t mode);
/// "3 s", "12 min", "5 h", "9 d"
std::string ageText(long seconds);
/// Rising numbers: "0-3, 7"
std::string rangesText(const std::vector<int>& numbers);
/// "1 client", "3 clients"
std::string countText(std::size_t count, std::string_view thing);
/// The shortest decimal that reads back as the same float.
std::string numberText(float value);
/// HH:MM:SS, local time.
std::string clockText();
/// HH:MM:SS.mmm, local time.
std::string clockText(std::chrono::system_clock::time_point time);
/// ISO 8601 with milliseconds: "2025-01-31T22:59:59.999Z".
std::string isoTimeText(std::chrono::system_clock::time_point time);

}  // namespace tools
