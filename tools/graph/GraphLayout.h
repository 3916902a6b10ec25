// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <vector>

/// Places the boxes of a directed graph in columns, so that lines run from the left to the right.
/// Pure; the same graph gets the same places.
namespace tools {

/// An index of a vector.
constexpr std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

struct GraphBox {
  double width = 0;
  double height = 0;
  double left = 0;  // from here on: the result
  double top = 0;
  int column = 0;

  double right() const { return left + width; }
  double bottom() const { return top + height; }
  double middle() const { return top + height / 2; }
};

/// A line from one box to another; at most one for each pair.
struct GraphLine {
  int from = 0;  // boxes
  int to = 0;
  double thickness = 0;  // room for the line, in height
  /// Result: it runs against the others, from the last box of a cycle to the first, or to itself;
  /// below the boxes then, at `lane`.
  bool isBack = false;
  double lane = 0;
  /// Result: its height in the columns between those of its ends.
  std::vector<double> between;
};

struct GraphColumn {
  double left = 0;
  double width = 0;
};

struct GraphSpacing {
  double columns = 130;
  double rows = 26;
  double lanes = 16;
};

struct GraphPlaces {
  std::vector<GraphColumn> columns;
  double width = 0;
  double height = 0;
};

/// Sources in the first column, each target behind its sources, boxes ordered so that few lines
/// cross. A line over several columns gets a place in each, but in a graph with very many of them.
GraphPlaces placeGraph(std::vector<GraphBox>& boxes, std::vector<GraphLine>& lines,
                       const GraphSpacing& spacing);

}  // namespace tools
