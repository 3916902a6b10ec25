// SPDX-License-Identifier: BSL-1.0
#include "tools/graph/SessionGraph.h"

#include <map>
#include <utility>

#include <fmt/core.h>

#include "inspect/ConnectionWatch.h"
#include "tools/Text.h"

namespace tools {
namespace {

using Edge = SessionGraph::Edge;
using Node = SessionGraph::Node;

/// Between quotes in DOT, where a backslash begins an escape and an ampersand an entity.
std::string quotable(std::string_view text) {
  std::string result;
  for (const char each : printable(text)) {
    if (each == '"' || each == '\\') result += '\\';
    result += each;
    if (each == '&') result += "amp;";
  }
  return result;
}

std::string nodeDot(std::size_t index, const Node& node) {
  std::string label = quotable(node.id), style = "rounded";
  if (const inspect::ClientPicture* client = node.client) {
    if (client->name != node.id) label += "\\n" + quotable(client->name);
    label += fmt::format("\\n{}  sends {}, receives {}", quotable(typeText(client->type)),
                         client->inputChannels, client->outputChannels);
    if (client->life == inspect::eLife::eStale) label += "\\nstale";
    if (client->life != inspect::eLife::eAlive) style += "\", color=\"gray50";
  } else {
    label += "\\nnot in the session";
    style += ",dashed\", color=\"gray50";
  }
  return fmt::format("  n{} [label=\"{}\", style=\"{}\"];\n", index, label, style);
}

std::string edgeDot(const Edge& edge, const GraphOptions& options) {
  std::string label = quotable(edgeText(edge));
  if (options.withWires)
    for (const auto& [source, target] : edge.wires)
      label += fmt::format("\\n{} > {}", source, target);
  return fmt::format("  n{} -> n{} [label=\"{}\"{}];\n", edge.from, edge.to, label,
                     edge.isCut ? ", style=dashed, color=gray50" : "");
}

}  // namespace

SessionGraph graphOf(const inspect::SessionPicture& session) {
  SessionGraph graph;
  std::map<std::string, int> indices;
  for (const inspect::ClientPicture& client : session.clients) {
    indices.try_emplace(client.id, static_cast<int>(graph.nodes.size()));
    graph.nodes.push_back({client.id, &client, false});
  }
  if (!session.connections) return graph;
  const auto nodeOf = [&](const LIPC::ClientID& id) {
    const auto [entry, isNew] =
        indices.try_emplace(id.text(), static_cast<int>(graph.nodes.size()));
    if (isNew) graph.nodes.push_back({id.text(), nullptr, false});
    graph.nodes[static_cast<std::size_t>(entry->second)].isConnected = true;
    return entry->second;
  };
  std::map<std::pair<int, int>, std::size_t> known;
  for (const LIPC::Connection& connection : *session.connections) {
    if (!connection.isDefined()) continue;
    Edge edge{nodeOf(connection.source),    nodeOf(connection.target),
              inspect::wiresOf(connection), connection.owner.text(),
              connection.isAuto != 0,       connection.disconnectRequested != 0};
    const auto [entry, isNew] = known.try_emplace({edge.from, edge.to}, graph.edges.size());
    if (isNew) {
      graph.edges.push_back(std::move(edge));
    } else if (graph.edges[entry->second].isCut && !edge.isCut) {
      graph.edges[entry->second] = std::move(edge);
    }
  }
  return graph;
}

std::string edgeText(const Edge& edge) {
  const std::string wires = edge.wires.empty()       ? "no wires"
                            : edge.wires.size() == 1 ? "1 wire"
                                                     : fmt::format("{} wires", edge.wires.size());
  return wires + (edge.isAuto ? ", automatic" : "") + (edge.isCut ? ", disconnected" : "");
}

std::string graphDot(const inspect::SessionPicture& session, const GraphOptions& options) {
  const SessionGraph graph = graphOf(session);
  std::string text =
      "digraph session {\n"
      "  rankdir=LR;\n"
      "  ranksep=1.2;\n"
      "  node [shape=box, fontname=\"Helvetica\", fontsize=12, margin=\"0.2,0.12\"];\n"
      "  edge [fontname=\"Helvetica\", fontsize=10, arrowsize=0.7];\n";
  for (std::size_t i = 0; i < graph.nodes.size(); ++i)
    text += nodeDot(i, graph.nodes[i]);
  for (const Edge& edge : graph.edges)
    text += edgeDot(edge, options);
  return text + "}\n";
}

}  // namespace tools
