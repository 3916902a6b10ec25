// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Where a command's output goes, and how it may look there.
namespace tools {

/// Whether `file` is a terminal.
bool isTerminal(int file);
/// Columns of the terminal that standard output is; else what COLUMNS says, else 80.
unsigned terminalWidth();

enum class eColour : std::uint8_t { eGood, eWarning, eBad, eFaint, eStrong };

/// Colours text, or leaves it as it is. Pad before: colours have no width.
class Style {
 public:
  /// Leaves everything as it is, on 80 columns.
  Style() = default;
  /// Colours when standard output is a terminal that knows them and NO_COLOR is not set. As wide as
  /// the terminal; 80 columns where there is none.
  static Style ofOutput();

  std::string operator()(eColour colour, std::string_view text) const;
  bool hasColours() const { return mHasColours; }
  unsigned columns() const { return mColumns; }

 private:
  bool mHasColours = false;
  unsigned mColumns = 80;
};

/// Columns that a text without control characters takes: letters of East Asia take two, combining
/// marks none.
std::size_t columnsOf(std::string_view text);
/// The text, cut to so many columns; then it ends with "...".
std::string cut(std::string_view text, std::size_t columns);
/// Of exactly so many columns: padded at its end, or cut.
std::string cell(std::string_view text, std::size_t columns);

}  // namespace tools
