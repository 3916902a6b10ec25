// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/Terminal.h"

namespace tools {

/// Text in aligned columns, each as wide as what it holds; one that holds nothing is left out.
class Columns {
 public:
  struct Cell {
    Cell(std::string words) : text(std::move(words)) {}
    Cell(const char* words) : text(words) {}
    Cell(std::string words, eColour in) : text(std::move(words)), colour(in) {}

    std::string text;
    std::optional<eColour> colour;
  };

  /// Heads; one that begins with '>' has its column flush right. With '~' what is in it is cut
  /// where the lines are too long; the widest such column first.
  explicit Columns(std::vector<std::string> heads);
  /// A cell for each head.
  void add(std::vector<Cell> row) { mRows.push_back(std::move(row)); }
  /// Lines that begin with `indent` blanks.
  std::string text(const Style& style, std::size_t indent) const;

 private:
  /// Of lines of so many columns at the most, where that can be had.
  std::vector<std::size_t> widths(std::size_t most) const;

  std::vector<std::string> mHeads;
  std::vector<bool> mIsRight;
  std::vector<bool> mIsCut;
  std::vector<std::vector<Cell>> mRows;
};

}  // namespace tools
