#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/Terminal.h"

namespace tools {

/// Text in aligned columns, each as wide as what it holds; one that holds nothing is left out. What
/// is too long for the line is cut in the last one.
class Columns {
 public:
  struct Cell {
    Cell(std::string words) : text(std::move(words)) {}
    Cell(const char* words) : text(words) {}
    Cell(std::string words, eColour in) : text(std::move(words)), colour(in) {}

    std::string text;
    std::optional<eColour> colour;
  };

  /// Heads; one that begins with '>' has its column flush right.
  explicit Columns(std::vector<std::string> heads);
  /// A cell for each head.
  void add(std::vector<Cell> row) { mRows.push_back(std::move(row)); }
  /// Lines that begin with `indent` blanks.
  std::string text(const Style& style, std::size_t indent) const;

 private:
  std::vector<std::size_t> widths() const;

  std::vector<std::string> mHeads;
  std::vector<bool> mIsRight;
  std::vector<std::vector<Cell>> mRows;
};

}  // namespace tools
