// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <vector>

#include "tools/Svg.h"

/// Where the labels of a drawing go, so that none covers another one or what it stands beside.
namespace tools {

struct Label {
  Point anchor;             // what it names
  double directionDegrees;  // where it wants to stand, from its anchor: 0 right, 90 up
  double width;
  Point centre = {};   // where it stands
  Point lineEnd = {};  // from the anchor to here leads a line, if it needs one
  bool hasLine = false;
};

constexpr double cLabelHeight = 13;

Box boxOf(const Label& label);

/// Gives each label its place within `bounds`: near its anchor and in its direction where that is
/// free. The same labels get the same places on every machine.
void placeLabels(std::vector<Label>& labels, const std::vector<Box>& obstacles, const Box& bounds);

}  // namespace tools
