// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/graph/GraphLayout.h"
#include "tools/graph/SessionGraph.h"

/// What the picture of a session is made of: the style sheet, and elements of SVG.
namespace tools {

extern const char cGraphStyle[];

/// About so wide in any of the style's fonts.
double textWidth(std::string_view text, double fontSize);
/// The text, made printable, with an ellipsis where it is wider.
std::string shortened(std::string_view text, double fontSize, double width);

/// A client as it is drawn.
struct NodeShape {
  explicit NodeShape(const SessionGraph::Node& node);
  /// Its group of elements; `width` as all have it.
  std::string svg(const GraphBox& box) const;
  double portHeight(const GraphBox& box, bool isSend, int channel) const;

  static constexpr double cLeastWidth = 168, cMostWidth = 250;

  const SessionGraph::Node* node;
  double width = 0;  // as its texts want it
  double head = 0;   // height without ports
  double height() const;
  std::vector<int> sends;  // ports, ordered; empty where wires are not shown
  std::vector<int> receives;
};

}  // namespace tools
