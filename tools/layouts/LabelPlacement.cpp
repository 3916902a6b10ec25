// SPDX-License-Identifier: BSL-1.0
#include "tools/layouts/LabelPlacement.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <utility>

namespace tools {
namespace {

constexpr double cNear = 11;  // from the anchor to the label
constexpr double cFar = 16;   // from here on with a line

double overlap(const Box& a, const Box& b) {
  const double width = std::min(a.right, b.right) - std::max(a.left, b.left);
  const double height = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
  return width > 0 && height > 0 ? width * height : 0;
}

/// How much of a label's line lies in the box.
double lineWithin(const Label& label, const Box& box) {
  if (!label.hasLine) return 0;
  constexpr int cSteps = 24;
  double inside = 0;
  for (int step = 0; step <= cSteps; ++step) {
    const double part = static_cast<double>(step) / cSteps;
    const double x = label.anchor.x + (label.lineEnd.x - label.anchor.x) * part;
    const double y = label.anchor.y + (label.lineEnd.y - label.anchor.y) * part;
    if (x > box.left && x < box.right && y > box.top && y < box.bottom) ++inside;
  }
  return inside;
}

/// `slide`: sideways, in widths of the label.
Label placed(Label label, double turnDegrees, double slide, double distance) {
  const double angle = (label.directionDegrees + turnDegrees) * std::numbers::pi / 180;
  const double right = std::cos(angle), up = std::sin(angle);
  label.centre.x =
      rounded(label.anchor.x + right * (distance + label.width / 2) + slide * label.width);
  label.centre.y = rounded(label.anchor.y - up * (distance + cLabelHeight / 2));
  const Box box = boxOf(label);
  label.lineEnd = {rounded(std::clamp(label.anchor.x, box.left + 3, box.right - 3)),
                   rounded(std::clamp(label.anchor.y, box.top + 2, box.bottom - 2))};
  label.hasLine = distance > cFar;
  return label;
}

/// What speaks against a label's place, apart from how far it is from where it wants to be.
double harm(const Label& label, std::size_t self, const std::vector<Label>& labels,
            const std::vector<Box>& obstacles, const Box& bounds) {
  const Box box = boxOf(label);
  double sum = 0;
  for (std::size_t i = 0; i < labels.size(); ++i) {
    if (i == self) continue;
    const Box other = boxOf(labels[i]);
    sum +=
        40 * overlap(box, other) + 30 * lineWithin(label, other) + 30 * lineWithin(labels[i], box);
  }
  for (const Box& obstacle : obstacles) {
    sum += 20 * overlap(box, obstacle);
    // Every line begins in the mark that it comes from.
    const bool isOwn = label.anchor.x > obstacle.left && label.anchor.x < obstacle.right &&
                       label.anchor.y > obstacle.top && label.anchor.y < obstacle.bottom;
    if (!isOwn) sum += 20 * lineWithin(label, obstacle);
  }
  const bool isOutside = box.left < bounds.left || box.right > bounds.right ||
                         box.top < bounds.top || box.bottom > bounds.bottom;
  return isOutside ? sum + 1e6 : sum;
}

/// Gives one label its best place as the others stand; returns what that costs.
double settle(std::size_t self, std::vector<Label>& labels, const std::vector<Box>& obstacles,
              const Box& bounds) {
  Label best = labels[self];
  double least = std::numeric_limits<double>::max();
  const auto consider = [&](double turn, double slide, double distance) {
    const Label label = placed(labels[self], turn, slide, distance);
    const double slant = label.hasLine && turn != 0 ? 40 : 0;
    const double cost = std::fabs(turn) / 4 + std::fabs(slide) * 12 + (distance - cNear) / 2 +
                        slant + harm(label, self, labels, obstacles, bounds);
    // Equal but for the last bit is equal.
    if (cost > least - 1e-6) return;
    least = cost;
    best = label;
  };
  for (const double distance : {cNear, 19.0, 27.0, 36.0, 46.0, 58.0}) {
    for (const double turn : {0.0, 25.0, -25.0, 50.0, -50.0, 75.0, -75.0, 110.0, -110.0, 180.0})
      consider(turn, 0, distance);
    for (const double slide : {0.2, -0.2, 0.4, -0.4}) {
      consider(0, slide, distance);
      consider(180, slide, distance);
    }
  }
  labels[self] = best;
  return least;
}

/// Each label anew as the others stand, until they have found their places; returns what all cost.
double settleAll(std::vector<Label>& labels, const std::vector<Box>& obstacles, const Box& bounds) {
  double sum = 0;
  for (int pass = 0; pass < 4; ++pass) {
    sum = 0;
    for (std::size_t i = 0; i < labels.size(); ++i)
      sum += settle(i, labels, obstacles, bounds);
  }
  return sum;
}

}  // namespace

Box boxOf(const Label& label) {
  return {label.centre.x - label.width / 2, label.centre.y - cLabelHeight / 2,
          label.centre.x + label.width / 2, label.centre.y + cLabelHeight / 2};
}

void placeLabels(std::vector<Label>& labels, const std::vector<Box>& obstacles, const Box& bounds) {
  // Two ways to begin, and the better end: all where they want to be, or one after the other.
  std::vector<Label> oneByOne;
  for (const Label& label : labels) {
    oneByOne.push_back(label);
    settle(oneByOne.size() - 1, oneByOne, obstacles, bounds);
  }
  for (Label& label : labels)
    label = placed(label, 0, 0, cNear);
  const double cost = settleAll(labels, obstacles, bounds);
  if (settleAll(oneByOne, obstacles, bounds) < cost - 1e-6) labels = std::move(oneByOne);
}

}  // namespace tools
