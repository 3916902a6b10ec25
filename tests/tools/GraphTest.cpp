// SPDX-License-Identifier: BSL-1.0

// The picture of a session and its text for Graphviz, from pictures made by hand.
#include <chrono>

#include <gtest/gtest.h>

#include "tools/graph/GraphDrawing.h"
#include "tools/graph/GraphLayout.h"

namespace {

using inspect::SessionPicture;
using tools::GraphBox;
using tools::GraphLine;

void connect(SessionPicture& session, const std::string& from, const std::string& to, int wires) {
  LIPC::Connection connection{LIPC::ClientID(from), LIPC::ClientID(to), LIPC::ClientID(from)};
  for (int channel = 0; channel < wires; ++channel)
    connection.addWire(channel, channel);
  session.connections->push_back(connection);
}

SessionPicture sessionOf(const std::vector<std::string>& ids) {
  SessionPicture session;
  session.connections.emplace();
  for (const std::string& id : ids)
    session.clients.emplace_back().id = id;
  return session;
}

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t times = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++times;
  return times;
}

TEST(Graph, ABoxStandsRightOfItsSourcesAndNoneOverAnotherAndACycleRunsBackBelow) {
  std::vector<GraphBox> boxes(6, {.width = 100, .height = 40});
  std::vector<GraphLine> lines(7);
  const int ends[][2] = {{0, 2}, {1, 2}, {2, 3}, {0, 3}, {3, 2}, {4, 4}, {3, 5}};
  for (std::size_t i = 0; i < lines.size(); ++i)
    std::tie(lines[i].from, lines[i].to) = std::pair(ends[i][0], ends[i][1]);
  tools::placeGraph(boxes, lines, {});
  for (const GraphLine& line : lines) {
    const GraphBox& from = boxes[static_cast<std::size_t>(line.from)];
    const GraphBox& to = boxes[static_cast<std::size_t>(line.to)];
    EXPECT_EQ(line.isBack, &line == &lines[4] || &line == &lines[5]);
    if (line.isBack) {
      EXPECT_GT(line.lane, std::max(from.bottom(), to.bottom()));
    } else {
      EXPECT_LT(from.right(), to.left);
    }
  }
  EXPECT_EQ(lines[3].between.size(), 1U) << "it passes the column between";
  for (const GraphBox& a : boxes)
    for (const GraphBox& b : boxes)
      EXPECT_TRUE(&a == &b || a.right() < b.left || b.right() < a.left || a.bottom() < b.top ||
                  b.bottom() < a.top);
}

TEST(Graph, WhateverStandsInASessionIsDrawnEscaped) {
  const std::string id = "a\"</script>&\\\x1b\xff\xef\xbf\xbf";
  SessionPicture session = sessionOf({id, std::string(64, '\xff'), "alone"});
  session.clients[0].name = id;
  session.clients[0].inputChannels = 3;
  connect(session, id, id, 1);
  connect(session, id, "gone", 2);
  connect(session, std::string(64, '\xff'), id, 0);
  for (const bool withWires : {false, true}) {
    const std::string svg = tools::graphSvg(session, {withWires});
    EXPECT_NE(svg.find("data-id=\"a&quot;&lt;/script&gt;&amp;\\\\x1b\\xff"), std::string::npos)
        << svg;
    EXPECT_EQ(count(svg, "</script") + count(svg, "\x1b") + count(svg, "\xff"), 0U);
    EXPECT_EQ(count(svg, "class=\"g-wire\""), withWires ? 3U : 0U);
    EXPECT_EQ(count(svg, ">not in the session<"), 1U);
    EXPECT_EQ(count(svg, ">WITHOUT CONNECTIONS<"), 1U);
    const std::string dot = tools::graphDot(session, {withWires});
    EXPECT_EQ(dot.find("  n0 [label=\"a\\\"</script>&amp;\\\\\\\\x1b") != std::string::npos,
              dot.find("  n0 -> n3 [label=\"2 wires") != std::string::npos)
        << dot;
    EXPECT_EQ(count(dot, "n0 [label=\"a\\\"</script>&amp;\\\\"), 1U) << dot;
  }
}

TEST(Graph, AFullTableInOneLongChainIsDrawnWithinSeconds) {
  std::vector<std::string> ids;
  for (int i = 0; i < 1024; ++i)
    ids.push_back(std::to_string(i));
  SessionPicture session = sessionOf(ids);
  for (std::size_t i = 0; i + 1 < ids.size(); ++i) {
    connect(session, ids[i], ids[i + 1], 2);
    connect(session, ids[i / 3], ids[1023 - i / 2], 1);
  }
  const auto start = std::chrono::steady_clock::now();
  EXPECT_GT(tools::graphSvg(session, {}).size(), 500'000U);
#ifdef NDEBUG
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
#endif
}

}  // namespace
