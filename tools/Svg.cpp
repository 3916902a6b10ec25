// SPDX-License-Identifier: BSL-1.0
#include "tools/Svg.h"

#include <cmath>

#include <fmt/core.h>

#include "tools/Text.h"

namespace tools {

Box around(const Point& point, double halfWidth, double halfHeight) {
  return {point.x - halfWidth, point.y - halfHeight, point.x + halfWidth, point.y + halfHeight};
}

double rounded(double value) {
  // The small addend decides the halves, and + 0.0 takes the sign from a zero.
  return std::floor(value * 10 + 0.5 + 1e-6) / 10 + 0.0;
}

std::string escaped(std::string_view text) {
  std::string result;
  for (const char each : printable(text)) {
    switch (each) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += each;
    }
  }
  return result;
}

std::string textAt(std::string_view style, const Point& point, std::string_view text) {
  return fmt::format("<text class=\"{}\" x=\"{}\" y=\"{}\">{}</text>\n", style, rounded(point.x),
                     rounded(point.y), escaped(text));
}

std::string circleText(std::string_view style, const Point& centre, double radius) {
  return fmt::format("<circle class=\"{}\" cx=\"{}\" cy=\"{}\" r=\"{}\"/>\n", style, centre.x,
                     centre.y, rounded(radius));
}

}  // namespace tools
