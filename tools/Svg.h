// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <string_view>

/// What drawings in SVG are made of: geometry, and elements, a line each.
namespace tools {

/// In units of the drawing, y downward.
struct Point {
  double x;
  double y;
};

struct Box {
  double left;
  double top;
  double right;
  double bottom;
};

Box around(const Point& point, double halfWidth, double halfHeight);
/// Rounded to a tenth: the same digits whatever the machine's arithmetic makes of the last bit.
double rounded(double value);

/// Text for an element or an attribute; what is not printable is escaped twice.
std::string escaped(std::string_view text);
/// `style`: classes of the drawing's own style sheet.
std::string textAt(std::string_view style, const Point& point, std::string_view text);
std::string circleText(std::string_view style, const Point& centre, double radius);

}  // namespace tools
