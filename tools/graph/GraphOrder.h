// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <vector>

namespace tools {

using GraphIndices = std::vector<int>;

/// A box, or the place of a line in a column that it passes.
struct GraphCell {
  int column = 0;
  double height = 0;
  double middle = 0;
  double weight = 1;    // of its wish for a place; lines want to be straight
  GraphIndices before;  // neighbours in the column to the left
  GraphIndices after;
};

/// Orders the cells within their columns, which hold cells' indices from the top, so that few lines
/// between neighbouring columns cross.
void orderGraph(const std::vector<GraphCell>& cells, std::vector<GraphIndices>& columns);

}  // namespace tools
