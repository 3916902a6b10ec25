// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

#include "inspect/Event.h"
#include "inspect/Picture.h"

/// A session's clients and connections as a graph, and as text for Graphviz.
namespace tools {

struct SessionGraph {
  struct Node {
    std::string id;
    const inspect::ClientPicture* client = nullptr;  // null: not in the session
    bool isConnected = false;
  };
  struct Edge {
    int from = 0;  // nodes
    int to = 0;
    inspect::Event::Wires wires;
    std::string owner;
    bool isAuto = false;
    bool isCut = false;  // a client asked to remove it
  };

  std::vector<Node> nodes;  // the clients by row, then the ends that are none
  std::vector<Edge> edges;  // one for each pair of ends
};

/// For as long as the picture lives.
SessionGraph graphOf(const inspect::SessionPicture& session);

struct GraphOptions {
  bool withWires = false;  // each wire, instead of their number
};

/// "2 wires, automatic"
std::string edgeText(const SessionGraph::Edge& edge);
/// For Graphviz.
std::string graphDot(const inspect::SessionPicture& session, const GraphOptions& options);

}  // namespace tools
