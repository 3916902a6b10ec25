#include "tools/GraphDrawing.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include <fmt/core.h>

#include "tools/GraphLayout.h"
#include "tools/GraphShapes.h"
#include "tools/LayoutShapes.h"
#include "tools/Text.h"

namespace tools {
namespace {

using inspect::SessionPicture;
using Edge = SessionGraph::Edge;

constexpr double cMargin = 32;
constexpr double cHeadHeight = 74;
constexpr GraphSpacing cSpacing{.columns = 150, .rows = 28, .lanes = 20};
constexpr double cWireStep = 4;
constexpr double cCornerRadius = 9;
/// Clients with more channels show the ports alone that have a wire.
constexpr unsigned cMostPorts = 32;
/// Labels of so many lines are kept from each other.
constexpr std::size_t cMostLabels = 1000;
constexpr std::size_t cMostWiresNamed = 32;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

std::string countText(std::size_t count, const char* thing) {
  return fmt::format("{} {}{}", count, thing, count == 1 ? "" : "s");
}

std::string captionText(const SessionPicture& session, const SessionGraph& graph) {
  std::string text = session.isBeating ? "host beating" : "host silent";
  text += fmt::format(" \u00b7 protocol {}, {} bits \u00b7 {} \u00b7 ", session.protocolVersion,
                      session.pointerWidthBits, countText(session.clients.size(), "client"));
  text += session.connections ? countText(graph.edges.size(), "connection")
                              : std::string("connections cannot be read");
  if (session.forbidsJoins) text += " \u00b7 joins forbidden";
  if (!session.referenceClient.empty())
    text += " \u00b7 reference " + shortened(session.referenceClient, 12, 200);
  return text;
}

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
      : mSession(session), mWithWires(options.withWires), mGraph(graphOf(session)) {
    makeShapes();
    placeConnected();
    placeLoose();
  }

  std::string svg() const {
    std::string lines, boxes, ports, labels;
    drawLines(lines, ports, labels);
    for (std::size_t i = 0; i < mShapes.size(); ++i)
      boxes += mShapes[i].svg(mBoxes[i]);
    const std::string title = mSession.clients.empty() ? "An empty session" : "Session";
    std::string svg = fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0} {1}\" width=\"{0}\" "
        "height=\"{1}\" role=\"img\">\n<title>{2}</title>\n{3}"
        "<rect class=\"g-page\" x=\"0.5\" y=\"0.5\" width=\"{4}\" height=\"{5}\" rx=\"12\"/>\n"
        "<g class=\"g-text\">\n<circle class=\"{6}\" cx=\"{7}\" cy=\"40\" r=\"5\"/>\n",
        rounded(mWidth), rounded(mHeight), "The clients of a session and their connections",
        cGraphStyle, rounded(mWidth - 1), rounded(mHeight - 1),
        mSession.isBeating ? "g-alive" : "g-stale", cMargin + 5);
    svg += textAt("g-title", {cMargin + 20, 46}, title);
    svg += textAt("g-name", {cMargin + 20, 66}, captionText(mSession, mGraph));
    if (mLooseTop > 0) svg += textAt("g-heading", {cMargin, mLooseTop - 14}, "WITHOUT CONNECTIONS");
    return svg + lines + boxes + ports + labels + "</g>\n</svg>\n";
  }

 private:
  void makeShapes() {
    for (const SessionGraph::Node& node : mGraph.nodes)
      mShapes.emplace_back(node);
    if (mWithWires) addPorts();
    double width = 0;
    for (const NodeShape& shape : mShapes)
      width = std::max(width, shape.width);
    for (const NodeShape& shape : mShapes)
      mBoxes.push_back({.width = width, .height = shape.height()});
  }

  void addPorts() {
    std::vector<std::set<int>> sends(mShapes.size()), receives(mShapes.size());
    for (std::size_t i = 0; i < mShapes.size(); ++i) {
      const inspect::ClientPicture* client = mGraph.nodes[i].client;
      if (client == nullptr) continue;
      for (unsigned c = 0; c < client->inputChannels && client->inputChannels <= cMostPorts; ++c)
        sends[i].insert(static_cast<int>(c));
      for (unsigned c = 0; c < client->outputChannels && client->outputChannels <= cMostPorts; ++c)
        receives[i].insert(static_cast<int>(c));
    }
    for (const Edge& edge : mGraph.edges) {
      for (const auto& [source, target] : edge.wires) {
        sends[at(edge.from)].insert(source);
        receives[at(edge.to)].insert(target);
      }
    }
    for (std::size_t i = 0; i < mShapes.size(); ++i) {
      mShapes[i].sends.assign(sends[i].begin(), sends[i].end());
      mShapes[i].receives.assign(receives[i].begin(), receives[i].end());
    }
  }

  /// The lines that an edge is drawn as: one, or one a wire.
  std::size_t strandsOf(const Edge& edge) const {
    return mWithWires ? std::max<std::size_t>(edge.wires.size(), 1) : 1;
  }

  void placeConnected() {
    std::vector<GraphBox> boxes;
    std::vector<std::size_t> nodes;
    std::vector<int> placeOf(mBoxes.size(), -1);
    for (std::size_t i = 0; i < mBoxes.size(); ++i) {
      if (!mGraph.nodes[i].isConnected) continue;
      placeOf[i] = static_cast<int>(boxes.size());
      boxes.push_back(mBoxes[i]);
      nodes.push_back(i);
    }
    for (const Edge& edge : mGraph.edges) {
      GraphLine& line = mLines.emplace_back();
      line.from = placeOf[at(edge.from)];
      line.to = placeOf[at(edge.to)];
      line.thickness = cWireStep * static_cast<double>(strandsOf(edge) - 1);
    }
    mPlaces = placeGraph(boxes, mLines, cSpacing);
    for (std::size_t i = 0; i < boxes.size(); ++i)
      mBoxes[nodes[i]] = boxes[i];
    for (std::size_t i = 0; i < mLines.size(); ++i) {
      mLines[i].from = mGraph.edges[i].from;
      mLines[i].to = mGraph.edges[i].to;
    }
  }

  /// Those without connections in rows below, and then everything to its place on the page.
  void placeLoose() {
    const auto isLoose = [](const auto& node) { return !node.isConnected; };
    const auto count = std::count_if(mGraph.nodes.begin(), mGraph.nodes.end(), isLoose);
    const double step = mBoxes.empty() ? 1 : mBoxes[0].width + cSpacing.rows;
    const auto fitting = std::floor((mPlaces.width + cSpacing.rows) / step);
    const double perRow = std::min<double>(
        static_cast<double>(count),
        std::max({fitting, 3.0, std::ceil(std::sqrt(static_cast<double>(count) * 0.6))}));
    const double looseWidth = count > 0 ? perRow * step - cSpacing.rows : 0;
    const double captionWidth = textWidth(captionText(mSession, mGraph), 12) + 20;
    const double inner = std::max({mPlaces.width + backRoom() * 2, looseWidth, captionWidth});
    mWidth = inner + 2 * cMargin;
    mShift = {cMargin + (inner - mPlaces.width) / 2, cMargin + cHeadHeight};
    const bool isAnyPlaced = mPlaces.height > 0;
    double top = mShift.y + (isAnyPlaced ? mPlaces.height + 62 : 0);
    if (count > 0 && isAnyPlaced) mLooseTop = top;
    double left = cMargin, lowest = 0;
    for (std::size_t i = 0; i < mBoxes.size(); ++i) {
      GraphBox& box = mBoxes[i];
      if (mGraph.nodes[i].isConnected) {
        box.left += mShift.x;
        box.top += mShift.y;
        continue;
      }
      if (left + box.width > cMargin + looseWidth + 1) {
        left = cMargin;
        top += lowest + 20;
        lowest = 0;
      }
      box.left = left;
      box.top = top;
      left += step;
      lowest = std::max(lowest, box.height);
    }
    mHeight = cMargin + (count > 0 ? top + lowest : mShift.y + mPlaces.height);
  }

  /// Beside the boxes, for the lines that run back.
  double backRoom() const {
    double room = 0;
    for (const GraphLine& line : mLines)
      if (line.isBack) room = std::max(room, 34 + line.thickness);
    return room;
  }

  /// For each line the height at which it leaves and reaches its boxes, spread over their sides in
  /// the order in which the lines come.
  void spreadEnds(std::vector<double>& starts, std::vector<double>& ends) const {
    for (const bool isStart : {true, false}) {
      std::map<int, std::vector<std::pair<double, std::size_t>>> sides;
      for (std::size_t i = 0; i < mLines.size(); ++i) {
        const GraphLine& line = mLines[i];
        const int other = isStart ? line.to : line.from;
        double wish = mBoxes[at(other)].middle();
        if (!line.between.empty())
          wish = mShift.y + (isStart ? line.between.front() : line.between.back());
        if (line.isBack) wish = 1e9 - line.lane;
        sides[isStart ? line.from : line.to].emplace_back(wish, i);
      }
      for (auto& [node, lines] : sides) {
        std::sort(lines.begin(), lines.end());
        const GraphBox& box = mBoxes[at(node)];
        const auto count = static_cast<double>(lines.size());
        const double step = std::min(15.0, (box.height - 24) / count);
        for (std::size_t k = 0; k < lines.size(); ++k)
          (isStart ? starts : ends)[lines[k].second] =
              box.middle() + (static_cast<double>(k) - (count - 1) / 2) * step;
      }
    }
  }

  void drawLines(std::string& lines, std::string& ports, std::string& labels) const {
    std::vector<double> starts(mLines.size()), ends(mLines.size());
    spreadEnds(starts, ends);
    std::vector<Box> placed;
    std::size_t back = 0;
    for (std::size_t i = 0; i < mLines.size(); ++i) {
      const Edge& edge = mGraph.edges[i];
      const GraphLine& line = mLines[i];
      const double aside = line.isBack ? static_cast<double>(back++ % 3) * 7 : 0;
      lines += fmt::format("<g class=\"{}\">\n<title>{}</title>\n", edge.isCut ? "g-cut" : "g-edge",
                           titleOf(edge));
      const bool hasPorts = mWithWires && !edge.wires.empty();
      const std::size_t strands = strandsOf(edge);
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
    if (mWithWires) ports = freePorts() + ports;
  }

  std::string titleOf(const Edge& edge) const {
    std::string text = escaped(mGraph.nodes[at(edge.from)].id) + " \u2192 " +
                       escaped(mGraph.nodes[at(edge.to)].id) + "\n" + edgeText(edge);
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
    const GraphBox& box = mBoxes[at(node)];
    const double y = mShapes[at(node)].portHeight(box, isSend, channel);
    ports += circleAt("g-port", isSend ? box.right() : box.left, y);
    return y;
  }

  std::string freePorts() const {
    std::string ports;
    for (std::size_t i = 0; i < mShapes.size(); ++i)
      for (const bool isSend : {true, false})
        for (const int channel : isSend ? mShapes[i].sends : mShapes[i].receives)
          ports += circleAt("g-port g-free", isSend ? mBoxes[i].right() : mBoxes[i].left,
                            mShapes[i].portHeight(mBoxes[i], isSend, channel));
    return ports;
  }

  /// `last`: the curve that has the label.
  std::string lineSvg(const GraphLine& line, double start, double end, double offset, double aside,
                      bool isWire, Curve& last) const {
    const GraphBox& from = mBoxes[at(line.from)];
    const GraphBox& to = mBoxes[at(line.to)];
    const double arrow = isWire ? 6 : 8, tip = isWire ? to.left - 4 : to.left - 1;
    std::string path = fmt::format("M{} {}", rounded(from.right()), rounded(start));
    if (line.isBack) {
      path += backPath(line, {from.right(), start}, {tip - arrow, end}, offset, aside);
      const double y = line.lane + mShift.y;
      last = {{from.right(), y}, {to.left, y}};
    } else {
      Point point{from.right(), start};
      for (std::size_t k = 0; k < line.between.size(); ++k) {
        const GraphColumn& column = mPlaces.columns[at(from.column) + 1 + k];
        const Point next{column.left + mShift.x, line.between[k] + mShift.y + offset};
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
    const double y = line.lane + mShift.y + offset, down = from.x + 16 + aside + outer,
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
    if (mLines.size() <= cMostLabels) {
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
  const bool mWithWires;
  const SessionGraph mGraph;
  std::vector<NodeShape> mShapes;  // of the nodes, as the boxes
  std::vector<GraphBox> mBoxes;
  std::vector<GraphLine> mLines;  // of the edges
  GraphPlaces mPlaces;
  Point mShift{};
  double mWidth = 0;
  double mHeight = 0;
  double mLooseTop = 0;
};

}  // namespace

std::string graphSvg(const SessionPicture& session, const GraphOptions& options) {
  return Drawing(session, options).svg();
}

}  // namespace tools
