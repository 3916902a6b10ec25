// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "inspect/Picture.h"
#include "tools/Svg.h"
#include "tools/graph/GraphLayout.h"
#include "tools/graph/GraphShapes.h"
#include "tools/graph/SessionGraph.h"

namespace tools {

/// Where everything in the picture of a session stands. For as long as the session's picture lives.
struct GraphPlan {
  static constexpr double cMargin = 32;
  static constexpr double cWireStep = 4;  // between the wires of a connection

  GraphPlan(const inspect::SessionPicture& session, const GraphOptions& options);

  /// The lines that an edge is drawn as: one, or one a wire.
  std::size_t strandsOf(const SessionGraph::Edge& edge) const;

  SessionGraph graph;
  bool withWires;
  std::string caption;
  std::vector<NodeShape> shapes;  // of the nodes, as the boxes
  std::vector<GraphBox> boxes;
  std::vector<GraphLine> lines;  // of the edges, before the shift
  GraphPlaces places;
  Point shift{};  // of what `places` and `lines` say, to the page
  double width = 0;
  double height = 0;
  double looseTop = 0;  // where those without connections begin; 0: there are not both
};

}  // namespace tools
