// SPDX-License-Identifier: BSL-1.0
#include "tools/graph/GraphPlan.h"

#include <algorithm>
#include <cmath>
#include <set>

#include <fmt/core.h>

#include "tools/Text.h"

namespace tools {
namespace {

using inspect::SessionPicture;
using Edge = SessionGraph::Edge;

constexpr double cHeadHeight = 74;
constexpr GraphSpacing cSpacing{.columns = 150, .rows = 28, .lanes = 20};
/// Clients with more channels show the ports alone that have a wire.
constexpr unsigned cMostPorts = 32;

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

class Planning {
 public:
  explicit Planning(GraphPlan& plan) : mPlan(plan) {}

  void run() {
    makeShapes();
    placeConnected();
    placeLoose();
  }

 private:
  void makeShapes() {
    for (const SessionGraph::Node& node : mPlan.graph.nodes)
      mPlan.shapes.emplace_back(node);
    if (mPlan.withWires) addPorts();
    double width = 0;
    for (const NodeShape& shape : mPlan.shapes)
      width = std::max(width, shape.width);
    for (const NodeShape& shape : mPlan.shapes)
      mPlan.boxes.push_back({.width = width, .height = shape.height()});
  }

  void addPorts() {
    std::vector<std::set<int>> sends(mPlan.shapes.size()), receives(mPlan.shapes.size());
    for (std::size_t i = 0; i < mPlan.shapes.size(); ++i) {
      const inspect::ClientPicture* client = mPlan.graph.nodes[i].client;
      if (client == nullptr) continue;
      for (unsigned c = 0; c < client->inputChannels && client->inputChannels <= cMostPorts; ++c)
        sends[i].insert(static_cast<int>(c));
      for (unsigned c = 0; c < client->outputChannels && client->outputChannels <= cMostPorts; ++c)
        receives[i].insert(static_cast<int>(c));
    }
    for (const Edge& edge : mPlan.graph.edges) {
      for (const auto& [source, target] : edge.wires) {
        sends[at(edge.from)].insert(source);
        receives[at(edge.to)].insert(target);
      }
    }
    for (std::size_t i = 0; i < mPlan.shapes.size(); ++i) {
      mPlan.shapes[i].sends.assign(sends[i].begin(), sends[i].end());
      mPlan.shapes[i].receives.assign(receives[i].begin(), receives[i].end());
    }
  }

  void placeConnected() {
    std::vector<GraphBox> boxes;
    std::vector<std::size_t> nodes;
    std::vector<int> placeOf(mPlan.boxes.size(), -1);
    for (std::size_t i = 0; i < mPlan.boxes.size(); ++i) {
      if (!mPlan.graph.nodes[i].isConnected) continue;
      placeOf[i] = static_cast<int>(boxes.size());
      boxes.push_back(mPlan.boxes[i]);
      nodes.push_back(i);
    }
    for (const Edge& edge : mPlan.graph.edges) {
      GraphLine& line = mPlan.lines.emplace_back();
      line.from = placeOf[at(edge.from)];
      line.to = placeOf[at(edge.to)];
      line.thickness = GraphPlan::cWireStep * static_cast<double>(mPlan.strandsOf(edge) - 1);
    }
    mPlan.places = placeGraph(boxes, mPlan.lines, cSpacing);
    for (std::size_t i = 0; i < boxes.size(); ++i)
      mPlan.boxes[nodes[i]] = boxes[i];
    for (std::size_t i = 0; i < mPlan.lines.size(); ++i) {
      mPlan.lines[i].from = mPlan.graph.edges[i].from;
      mPlan.lines[i].to = mPlan.graph.edges[i].to;
    }
  }

  /// Those without connections in rows below, and then everything to its place on the page.
  void placeLoose() {
    const auto isLoose = [](const auto& node) { return !node.isConnected; };
    const auto count = std::count_if(mPlan.graph.nodes.begin(), mPlan.graph.nodes.end(), isLoose);
    const double step = mPlan.boxes.empty() ? 1 : mPlan.boxes[0].width + cSpacing.rows;
    const auto fitting = std::floor((mPlan.places.width + cSpacing.rows) / step);
    const double perRow = std::min<double>(
        static_cast<double>(count),
        std::max({fitting, 3.0, std::ceil(std::sqrt(static_cast<double>(count) * 0.6))}));
    const double looseWidth = count > 0 ? perRow * step - cSpacing.rows : 0;
    const double captionWidth = textWidth(mPlan.caption, 12) + 20;
    const double inner = std::max({mPlan.places.width + backRoom() * 2, looseWidth, captionWidth});
    mPlan.width = inner + 2 * GraphPlan::cMargin;
    mPlan.shift = {GraphPlan::cMargin + (inner - mPlan.places.width) / 2,
                   GraphPlan::cMargin + cHeadHeight};
    const bool isAnyPlaced = mPlan.places.height > 0;
    double top = mPlan.shift.y + (isAnyPlaced ? mPlan.places.height + 62 : 0);
    if (count > 0 && isAnyPlaced) mPlan.looseTop = top;
    double left = GraphPlan::cMargin, lowest = 0;
    for (std::size_t i = 0; i < mPlan.boxes.size(); ++i) {
      GraphBox& box = mPlan.boxes[i];
      if (mPlan.graph.nodes[i].isConnected) {
        box.left += mPlan.shift.x;
        box.top += mPlan.shift.y;
        continue;
      }
      if (left + box.width > GraphPlan::cMargin + looseWidth + 1) {
        left = GraphPlan::cMargin;
        top += lowest + 20;
        lowest = 0;
      }
      box.left = left;
      box.top = top;
      left += step;
      lowest = std::max(lowest, box.height);
    }
    mPlan.height =
        GraphPlan::cMargin + (count > 0 ? top + lowest : mPlan.shift.y + mPlan.places.height);
  }

  /// Beside the boxes, for the lines that run back.
  double backRoom() const {
    double room = 0;
    for (const GraphLine& line : mPlan.lines)
      if (line.isBack) room = std::max(room, 34 + line.thickness);
    return room;
  }

  GraphPlan& mPlan;
};

}  // namespace

GraphPlan::GraphPlan(const SessionPicture& session, const GraphOptions& options)
    : graph(graphOf(session)), withWires(options.withWires), caption(captionText(session, graph)) {
  Planning(*this).run();
}

std::size_t GraphPlan::strandsOf(const Edge& edge) const {
  return withWires ? std::max<std::size_t>(edge.wires.size(), 1) : 1;
}

}  // namespace tools
