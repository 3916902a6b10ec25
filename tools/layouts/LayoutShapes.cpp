// SPDX-License-Identifier: BSL-1.0
#include "tools/layouts/LayoutShapes.h"

#include <cmath>
#include <numbers>

#include <fmt/core.h>

#include "tools/Text.h"

namespace tools {

// Named tones and nothing that an old viewer lacks: no variables, and light without the query.
const char cLayoutStyle[] = R"(<style>
text { font-family: Inter, "Helvetica Neue", Helvetica, Arial, "DejaVu Sans", sans-serif; }
.card { fill: #ffffff; stroke: #d9dde3; }
.title { font-size: 22px; font-weight: 600; fill: #1b1f24; }
.small { font-size: 12px; fill: #5f6873; }
.heading { font-size: 10px; letter-spacing: 1.5px; fill: #5f6873; }
.angle { font-size: 10px; fill: #6b7480; text-anchor: middle; }
.label { font-size: 11px; font-weight: 600; text-anchor: middle; }
.middle { text-anchor: middle; }
.label, .angle { paint-order: stroke; stroke: #ffffff; stroke-width: 3px; stroke-linejoin: round; }
.line { fill: none; stroke: #bcc3cc; stroke-width: 0.8; }
.head { fill: #ffffff; stroke: #77808b; stroke-linejoin: round; }
.ear { color: #24507d; } .upper { color: #0b7a70; } .top { color: #a85d08; }
.bottom { color: #84459f; } .lfe { color: #5f6873; }
.mark, .label { fill: currentColor; }
.leader { fill: none; stroke: currentColor; stroke-width: 0.8; }
@media (prefers-color-scheme: dark) {
  .card { fill: #14181d; stroke: #2c333b; }
  .title { fill: #eceff2; }
  .small, .heading, .angle { fill: #9aa4af; }
  .label, .angle { stroke: #14181d; }
  .line { stroke: #434d58; }
  .head { fill: #14181d; stroke: #9aa4af; }
  .ear { color: #8fbbea; } .upper { color: #4fcabc; } .top { color: #f0ab57; }
  .bottom { color: #cb9fe2; } .lfe { color: #9aa4af; }
}
</style>
)";

std::string degreesText(float angle) {
  return (angle < 0 ? "\u2212" : "") + numberText(std::fabs(angle)) + "\u00b0";
}

Point polar(const Point& centre, double radius, double degrees) {
  const double angle = degrees * std::numbers::pi / 180;
  return {rounded(centre.x + radius * std::cos(angle)),
          rounded(centre.y - radius * std::sin(angle))};
}

std::string headText(const Point& centre, double frontDegrees) {
  const Point tip = polar(centre, cHead + 6, frontDegrees);
  const Point from = polar(centre, cHead - 0.5, frontDegrees + 22);
  const Point to = polar(centre, cHead - 0.5, frontDegrees - 22);
  return fmt::format("<path class=\"head\" d=\"M{} {}L{} {}L{} {}\"/>\n", from.x, from.y, tip.x,
                     tip.y, to.x, to.y) +
         circleText("head", centre, cHead);
}

}  // namespace tools
