// SPDX-License-Identifier: BSL-1.0
#include "tools/graph/GraphShapes.h"

#include <algorithm>

#include <fmt/core.h>

#include "tools/Svg.h"
#include "tools/Text.h"

namespace tools {
namespace {

constexpr double cPadding = 16;
constexpr double cPortStep = 17;
constexpr double cIDSize = 14, cNameSize = 12, cSmallSize = 11;
constexpr double cBold = 1.1;  // so much wider
constexpr double cDotRoom = 18;

std::string channelsText(const inspect::ClientPicture& client) {
  const unsigned sends = client.inputChannels, receives = client.outputChannels;
  if (sends == 0 && receives == 0) return "no audio";
  if (receives == 0) return fmt::format("sends {}", sends);
  if (sends == 0) return fmt::format("receives {}", receives);
  return fmt::format("sends {} \u00b7 receives {}", sends, receives);
}

/// Nothing for a client that lives.
std::string lifeText(const inspect::ClientPicture& client) {
  const auto age = client.stampAgeSeconds();
  if (client.life == inspect::eLife::eStale && age)
    return fmt::format("stale: stamped {} s ago", *age);
  return client.life == inspect::eLife::eAlive ? "" : "no stamp: life unknown";
}

const char* toneOf(const SessionGraph::Node& node) {
  if (node.client == nullptr) return "g-absent";
  switch (node.client->life) {
    case inspect::eLife::eAlive:
      return "g-alive";
    case inspect::eLife::eStale:
      return "g-stale";
    case inspect::eLife::eUnknown:
      break;
  }
  return "g-unknown";
}

std::string text(const char* style, double x, double y, const std::string& content) {
  return fmt::format("<text class=\"{}\" x=\"{}\" y=\"{}\">{}</text>\n", style, rounded(x),
                     rounded(y), escaped(content));
}

bool hasName(const inspect::ClientPicture& client) {
  return !client.name.empty() && client.name != client.id;
}

}  // namespace

// Named tones and nothing that an old viewer lacks: no variables, and light without the query.
const char cGraphStyle[] = R"(<style>
.g-page { fill: #ffffff; stroke: #e3e7ec; }
.g-text text { font-family: Inter, "Helvetica Neue", Helvetica, Arial, "DejaVu Sans", sans-serif; }
.g-title { font-size: 19px; font-weight: 600; fill: #1b1f24; }
.g-id { font-size: 14px; font-weight: 600; fill: #1b1f24; }
.g-name { font-size: 12px; fill: #5f6873; }
.g-small { font-size: 11px; fill: #5f6873; }
.g-heading { font-size: 10px; letter-spacing: 1.5px; fill: #6b7480; }
.g-type { font-size: 10px; font-weight: 600; letter-spacing: 0.6px; fill: #3f5f86; }
.g-chip { fill: #eaf0f8; }
.g-box { fill: #fbfcfd; stroke: #cfd6de; }
.g-rule { stroke: #e3e7ec; }
.g-alive { fill: #2f9e6e; } .g-stale { fill: #c77d0a; } .g-unknown { fill: #98a2ad; }
.g-absent .g-box { fill: none; stroke: #98a2ad; stroke-dasharray: 5 4; }
.g-absent .g-id { fill: #5f6873; }
.g-worry { font-size: 11px; font-weight: 600; fill: #a3650a; }
.g-end { text-anchor: end; } .g-middle { text-anchor: middle; }
.g-line { fill: none; stroke: #5b84b8; stroke-width: 1.5; stroke-linecap: round; }
.g-arrow { fill: #5b84b8; }
.g-wire { fill: none; stroke: #5b84b8; stroke-width: 1.1; stroke-linecap: round; }
.g-port { fill: #ffffff; stroke: #5b84b8; stroke-width: 1.3; }
.g-free { stroke: #cfd6de; }
.g-label { fill: #ffffff; stroke: #dce2ea; }
.g-cut .g-line, .g-cut .g-wire { stroke: #a7afb9; stroke-dasharray: 5 5; }
.g-cut .g-arrow { fill: #a7afb9; }
@media (prefers-color-scheme: dark) {
  .g-page { fill: #14181d; stroke: #2c333b; }
  .g-title, .g-id { fill: #eceff2; }
  .g-name, .g-small, .g-heading { fill: #9aa4af; }
  .g-type { fill: #a9c8ee; }
  .g-chip { fill: #243244; }
  .g-box { fill: #1b2128; stroke: #3a444f; }
  .g-rule { stroke: #2c333b; }
  .g-alive { fill: #4cc38a; } .g-stale { fill: #f0ab57; } .g-unknown { fill: #77828e; }
  .g-absent .g-box { fill: none; stroke: #626d79; }
  .g-absent .g-id { fill: #9aa4af; }
  .g-worry { fill: #f0ab57; }
  .g-line, .g-wire { stroke: #7fa8dc; }
  .g-arrow { fill: #7fa8dc; }
  .g-port { fill: #14181d; stroke: #7fa8dc; }
  .g-free { stroke: #3a444f; }
  .g-label { fill: #14181d; stroke: #303944; }
  .g-cut .g-line, .g-cut .g-wire { stroke: #5b6570; }
  .g-cut .g-arrow { fill: #5b6570; }
}
</style>
)";

double textWidth(std::string_view text, double fontSize) {
  double width = 0;
  for (const char each : text) {
    const auto byte = static_cast<unsigned char>(each);
    if (byte >= 0x80) {
      width += byte >= 0xE0 ? 1.0 : byte >= 0xC0 ? 0.65 : 0.0;  // a character's first byte
    } else if (std::string_view("ijl.,:;|!'()[]I tf").find(each) != std::string_view::npos) {
      width += 0.34;
    } else if (std::string_view("mwMW@%").find(each) != std::string_view::npos) {
      width += 0.9;
    } else {
      width += each >= 'A' && each <= 'Z' ? 0.7 : 0.59;
    }
  }
  return width * fontSize;
}

std::string shortened(std::string_view text, double fontSize, double width) {
  std::string result = printable(text);
  if (textWidth(result, fontSize) <= width) return result;
  do {
    while ((static_cast<unsigned char>(result.back()) & 0xC0) == 0x80)
      result.pop_back();
    result.pop_back();
  } while (!result.empty() && textWidth(result, fontSize) > width - fontSize);
  return result + "\u2026";
}

NodeShape::NodeShape(const SessionGraph::Node& of) : node(&of) {
  const inspect::ClientPicture* client = node->client;
  double widest = textWidth(printable(node->id), cIDSize * cBold) + cDotRoom;
  head = 58;
  if (client != nullptr) {
    const std::string life = lifeText(*client);
    widest = std::max(widest, textWidth(typeText(client->type), cSmallSize) + 26 +
                                  textWidth(channelsText(*client), cSmallSize));
    if (hasName(*client)) {
      widest = std::max(widest, textWidth(printable(client->name), cNameSize));
      head += 19;
    }
    if (!life.empty()) {
      widest = std::max(widest, textWidth(life, cSmallSize));
      head += 18;
    }
  }
  width = std::clamp(widest + 2 * cPadding, cLeastWidth, cMostWidth);
}

double NodeShape::height() const {
  const auto ports = std::max(sends.size(), receives.size());
  return ports == 0 ? head : head + 10 + static_cast<double>(ports) * cPortStep;
}

double NodeShape::portHeight(const GraphBox& box, bool isSend, int channel) const {
  const std::vector<int>& ports = isSend ? sends : receives;
  const auto port = std::lower_bound(ports.begin(), ports.end(), channel);
  return box.top + head + 12 + static_cast<double>(port - ports.begin()) * cPortStep;
}

std::string NodeShape::svg(const GraphBox& box) const {
  const inspect::ClientPicture* client = node->client;
  const double left = box.left + cPadding, room = box.width - 2 * cPadding;
  std::string svg = fmt::format(
      "<g class=\"{}\" data-id=\"{}\">\n<title>{}</title>\n"
      "<rect class=\"g-box\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" rx=\"9\"/>\n",
      client == nullptr ? "g-absent" : "g-node", escaped(node->id),
      escaped(node->id) + (client != nullptr ? "\n" + escaped(client->name) : std::string()),
      rounded(box.left), rounded(box.top), rounded(box.width), rounded(box.height));
  double y = box.top + 26;
  svg += text("g-id", left, y, shortened(node->id, cIDSize * cBold, room - cDotRoom));
  if (client == nullptr)
    return svg + text("g-small", left, y + 19, "not in the session") + "</g>\n";
  svg += fmt::format("<circle class=\"{}\" cx=\"{}\" cy=\"{}\" r=\"4\"/>\n", toneOf(*node),
                     rounded(box.right() - cPadding - 3), rounded(y - 5));
  if (hasName(*client))
    svg += text("g-name", left, y += 19, shortened(client->name, cNameSize, room));
  y += 20;
  const std::string type = typeText(client->type);
  const double chip = textWidth(type, 10.6) + 12;
  svg += fmt::format(
      "<rect class=\"g-chip\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"16\" rx=\"4\"/>\n",
      rounded(left), rounded(y - 12), rounded(chip));
  svg += text("g-type g-middle", left + chip / 2, y, type);
  svg += text("g-small", left + chip + 9, y, channelsText(*client));
  const std::string life = lifeText(*client);
  if (!life.empty()) svg += text("g-worry", left, y += 18, life);
  if (sends.empty() && receives.empty()) return svg + "</g>\n";
  svg += fmt::format("<path class=\"g-rule\" d=\"M{} {}h{}\"/>\n", rounded(box.left),
                     rounded(box.top + head), rounded(box.width));
  for (const bool isSend : {true, false}) {
    for (const int channel : isSend ? sends : receives) {
      svg += text(isSend ? "g-small g-end" : "g-small", isSend ? box.right() - 10 : box.left + 10,
                  portHeight(box, isSend, channel) + 4, std::to_string(channel));
    }
  }
  return svg + "</g>\n";
}

}  // namespace tools
