// SPDX-License-Identifier: BSL-1.0
#include "tools/graph/GraphDrawing.h"

#include <algorithm>
#include <map>

#include <fmt/core.h>

#include "tools/Svg.h"
#include "tools/Text.h"
#include "tools/graph/GraphPlan.h"

namespace tools {
namespace {

using inspect::SessionPicture;
using Edge = SessionGraph::Edge;

constexpr double cMargin = GraphPlan::cMargin;
constexpr double cWireStep = GraphPlan::cWireStep;
constexpr double cCornerRadius = 9;
/// Labels of so many lines are kept from each other.
constexpr std::size_t cMostLabels = 1000;
constexpr std::size_t cMostWiresNamed = 32;

/// A curve from one point to another that begins and ends level.
struct Curve {
  Point from, to;

  std::string svg() const {
    const double middle = rounded((from.x + to.x) / 2);
    return fmt::format("C{} {} {} {} {} {}", middle, rounded(from.y), middle, rounded(to.y),
                       rounded(to.x), rounded(to.y));
  }
  Point at(double t) const {
    const double s = 1 - t, middle = (from.x + to.x) / 2;
    const double ends = s * s * s + 3 * s * s * t;  // the part of `from` in the height
    return {s * s * s * from.x + 3 * s * t * middle + t * t * t * to.x,
            ends * from.y + (1 - ends) * to.y};
  }
};

class Drawing {
 public:
  Drawing(const SessionPicture& session, const GraphOptions& options)
      : mSession(session), mPlan(session, options) {}

  std::string svg() const {
    std::string lines, boxes, ports, labels;
    drawLines(lines, ports, labels);
    for (std::size_t i = 0; i < mPlan.shapes.size(); ++i)
      boxes += mPlan.shapes[i].svg(mPlan.boxes[i]);
    const std::string title = mSession.clients.empty() ? "An empty session" : "Session";
    std::string svg = fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0} {1}\" width=\"{0}\" "
        "height=\"{1}\" role=\"img\">\n<title>{2}</title>\n{3}"
        "<rect class=\"g-page\" x=\"0.5\" y=\"0.5\" width=\"{4}\" height=\"{5}\" rx=\"12\"/>\n"
        "<g class=\"g-text\">\n<circle class=\"{6}\" cx=\"{7}\" cy=\"40\" r=\"5\"/>\n",
        rounded(mPlan.width), rounded(mPlan.height),
        "The clients of a session and their connections", cGraphStyle, rounded(mPlan.width - 1),
        rounded(mPlan.height - 1), mSession.isBeating ? "g-alive" : "g-stale", cMargin + 5);
    svg += textAt("g-title", {cMargin + 20, 46}, title);
    svg += textAt("g-name", {cMargin + 20, 66}, mPlan.caption);
    if (mPlan.looseTop > 0)
      svg += textAt("g-heading", {cMargin, mPlan.looseTop - 14}, "WITHOUT CONNECTIONS");
    return svg + lines + boxes + ports + labels + "</g>\n</svg>\n";
  }

 private:
  /// For each line the height at which it leaves and reaches its boxes, spread over their sides in
  /// the order in which the lines come.
  void spreadEnds(std::vector<double>& starts, std::vector<double>& ends) const {
    for (const bool isStart : {true, false}) {
      std::map<int, std::vector<std::pair<double, std::size_t>>> sides;
      for (std::size_t i = 0; i < mPlan.lines.size(); ++i) {
        const GraphLine& line = mPlan.lines[i];
        const int other = isStart ? line.to : line.from;
        double wish = mPlan.boxes[at(other)].middle();
        if (!line.between.empty())
          wish = mPlan.shift.y + (isStart ? line.between.front() : line.between.back());
        if (line.isBack) wish = 1e9 - line.lane;
        sides[isStart ? line.from : line.to].emplace_back(wish, i);
      }
      for (auto& [node, lines] : sides) {
        std::sort(lines.begin(), lines.end());
        const GraphBox& box = mPlan.boxes[at(node)];
        const auto count = static_cast<double>(lines.size());
        const double step = std::min(15.0, (box.height - 24) / count);
        for (std::size_t k = 0; k < lines.size(); ++k)
          (isStart ? starts : ends)[lines[k].second] =
              box.middle() + (static_cast<double>(k) - (count - 1) / 2) * step;
      }
    }
  }

  void drawLines(std::string& lines, std::string& ports, std::string& labels) const {
    std::vector<double> starts(mPlan.lines.size()), ends(mPlan.lines.size());
    spreadEnds(starts, ends);
    std::vector<Box> placed;
    std::size_t back = 0;
    for (std::size_t i = 0; i < mPlan.lines.size(); ++i) {
      const Edge& edge = mPlan.graph.edges[i];
      const GraphLine& line = mPlan.lines[i];
      const double aside = line.isBack ? static_cast<double>(back++ % 3) * 7 : 0;
      lines += fmt::format("<g class=\"{}\">\n<title>{}</title>\n", edge.isCut ? "g-cut" : "g-edge",
                           titleOf(edge));
      const bool hasPorts = mPlan.withWires && !edge.wires.empty();
      const std::size_t strands = mPlan.strandsOf(edge);
      Curve last{};
      for (std::size_t k = 0; k < strands; ++k) {
        double start = starts[i], end = ends[i];
        if (hasPorts) {
          start = portOf(ports, line.from, true, edge.wires[k].first);
          end = portOf(ports, line.to, false, edge.wires[k].second);
        }
        const double offset =
            (static_cast<double>(k) - static_cast<double>(strands - 1) / 2) * cWireStep;
        lines += lineSvg(line, start, end, offset, aside, hasPorts, last);
      }
      lines += "</g>\n";
      if (!hasPorts) labels += labelSvg(edge, last, placed);
    }
    if (mPlan.withWires) ports = freePorts() + ports;
  }

  std::string titleOf(const Edge& edge) const {
    std::string text = escaped(mPlan.graph.nodes[at(edge.from)].id) + " \u2192 " +
                       escaped(mPlan.graph.nodes[at(edge.to)].id) + "\n" + edgeText(edge);
    for (std::size_t i = 0; i < std::min(edge.wires.size(), cMostWiresNamed); ++i)
      text += fmt::format("{}{} \u2192 {}", i == 0 ? ": " : ", ", edge.wires[i].first,
                          edge.wires[i].second);
    if (!edge.owner.empty()) text += "\nowner " + escaped(edge.owner);
    return text;
  }

  std::string circleAt(const char* style, double x, double y) const {
    return fmt::format("<circle class=\"{}\" cx=\"{}\" cy=\"{}\" r=\"3.2\"/>\n", style, rounded(x),
                       rounded(y));
  }

  double portOf(std::string& ports, int node, bool isSend, int channel) const {
    const GraphBox& box = mPlan.boxes[at(node)];
    const double y = mPlan.shapes[at(node)].portHeight(box, isSend, channel);
    ports += circleAt("g-port", isSend ? box.right() : box.left, y);
    return y;
  }

  std::string freePorts() const {
    std::string ports;
    for (std::size_t i = 0; i < mPlan.shapes.size(); ++i)
      for (const bool isSend : {true, false})
        for (const int channel : isSend ? mPlan.shapes[i].sends : mPlan.shapes[i].receives)
          ports += circleAt("g-port g-free", isSend ? mPlan.boxes[i].right() : mPlan.boxes[i].left,
                            mPlan.shapes[i].portHeight(mPlan.boxes[i], isSend, channel));
    return ports;
  }

  /// `last`: the curve that has the label.
  std::string lineSvg(const GraphLine& line, double start, double end, double offset, double aside,
                      bool isWire, Curve& last) const {
    const GraphBox& from = mPlan.boxes[at(line.from)];
    const GraphBox& to = mPlan.boxes[at(line.to)];
    const double arrow = isWire ? 6 : 8, tip = isWire ? to.left - 4 : to.left - 1;
    std::string path = fmt::format("M{} {}", rounded(from.right()), rounded(start));
    if (line.isBack) {
      path += backPath(line, {from.right(), start}, {tip - arrow, end}, offset, aside);
      const double y = line.lane + mPlan.shift.y;
      last = {{from.right(), y}, {to.left, y}};
    } else {
      Point point{from.right(), start};
      for (std::size_t k = 0; k < line.between.size(); ++k) {
        const GraphColumn& column = mPlan.places.columns[at(from.column) + 1 + k];
        const Point next{column.left + mPlan.shift.x, line.between[k] + mPlan.shift.y + offset};
        path += Curve{point, next}.svg() + fmt::format("h{}", rounded(column.width));
        point = {next.x + column.width, next.y};
      }
      last = {point, {tip - arrow, end}};
      path += last.svg();
    }
    const double half = isWire ? 2.6 : 4;
    return fmt::format(
        "<path class=\"{}\" d=\"{}\"/>\n<path class=\"g-arrow\" d=\"M{} {}l{} {}v{}z\"/>\n",
        isWire ? "g-wire" : "g-line", path, rounded(tip), rounded(end), -arrow, -half, 2 * half);
  }

  /// Out to the right, down, back to the left, up, and in.
  std::string backPath(const GraphLine& line, const Point& from, const Point& to, double offset,
                       double aside) const {
    constexpr double r = cCornerRadius;
    const double outer = line.thickness / 2 + offset;
    const double y = line.lane + mPlan.shift.y + offset, down = from.x + 16 + aside + outer,
                 up = to.x - 12 - aside - outer;
    return fmt::format(
        "H{0}q{5} 0 {5} {5}V{1}q0 {5} {6} {5}H{2}q{6} 0 {6} {6}V{3}q0 {6} {5} {6}H{4}",
        rounded(down - r), rounded(y - r), rounded(up + r), rounded(to.y + r), rounded(to.x), r,
        -r);
  }

  std::string labelSvg(const Edge& edge, const Curve& curve, std::vector<Box>& placed) const {
    std::string text = edge.wires.empty() ? "no wires" : countText(edge.wires.size(), "wire");
    if (edge.isAuto) text += " \u00b7 auto";
    if (edge.isCut) text += " \u00b7 cut";
    const double halfWidth = textWidth(text, 11) / 2 + 7;
    Point middle = curve.at(0.5);
    if (mPlan.lines.size() <= cMostLabels) {
      for (const double t : {0.5, 0.4, 0.6, 0.32, 0.68}) {
        const Point point = curve.at(t);
        const Box box = around(point, halfWidth, 9);
        const bool isFree = std::none_of(placed.begin(), placed.end(), [&](const Box& other) {
          return box.left < other.right && other.left < box.right && box.top < other.bottom &&
                 other.top < box.bottom;
        });
        if (!isFree) continue;
        middle = point;
        break;
      }
      placed.push_back(around(middle, halfWidth, 9));
    }
    return fmt::format(
               "<rect class=\"g-label\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"18\" rx=\"9\"/>\n",
               rounded(middle.x - halfWidth), rounded(middle.y - 9), rounded(2 * halfWidth)) +
           textAt("g-small g-middle", {middle.x, middle.y + 4}, text);
  }

  const SessionPicture& mSession;
  const GraphPlan mPlan;
};

}  // namespace

std::string graphSvg(const SessionPicture& session, const GraphOptions& options) {
  return Drawing(session, options).svg();
}

}  // namespace tools
