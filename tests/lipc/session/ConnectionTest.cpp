#include <gtest/gtest.h>

#include "lipc/session/AutoConnection.h"
#include "lipc/session/Connection.h"

namespace {

using namespace LIPC;

const ClientID cA("A"), cB("B"), cC("C"), cDefault("Default"), cNone;

TEST(Connection, WiresComeFromTheMappedChannelsWithoutGaps) {
  Connection connection;
  connection.wires[2] = {{9, 9}};
  const int channels[] = {3, -1, 5};
  connection.setWiresFromChannels(channels, 3);
  EXPECT_EQ(connection.getWiredChannel(3, Connection::eSourceSide), 0);
  EXPECT_EQ(connection.getWiredChannel(2, Connection::eTargetSide), 5);
  EXPECT_EQ(connection.getWiredChannel(7, Connection::eSourceSide), -1);
  EXPECT_EQ(connection.wires[1].channel[0], 5);
  EXPECT_EQ(connection.wires[2].channel[0], -1);
  EXPECT_EQ(connection.wires[2].channel[1], 9);
  const std::vector<int> many(100, 1);
  connection.setWiresFromChannels(many.data(), 100);
  EXPECT_EQ(connection.wires[31].channel[1], 31);
  EXPECT_EQ(connection.disconnectRequested, 0);
}

TEST(Connection, AWireTakesTheFirstUnusedPlaceUntilAllAreUsed) {
  Connection connection;
  for (int i = 0; i < 32; ++i)
    EXPECT_EQ(connection.addWire(i, 100 + i), i);
  EXPECT_EQ(connection.addWire(1, 1), -1);
  connection.wires[7].channel[1] = -1;
  EXPECT_EQ(connection.findUnusedIndex(), 7);
  connection.clearChannel(103, Connection::eTargetSide);
  EXPECT_EQ(connection.findUnusedIndex(), 3);
  connection.clearChannels(1, Connection::eSourceSide);
  EXPECT_EQ(connection.getWiredChannel(0, Connection::eSourceSide), 100);
  EXPECT_EQ(connection.getWiredChannel(101, Connection::eTargetSide), -1);
  EXPECT_EQ(connection.findUnusedIndex(), 1);
}

TEST(Connection, IsDefinedByItsSourceAndTarget) {
  EXPECT_TRUE(Connection(cA, cB, cNone).isDefined());
  EXPECT_FALSE(Connection(cA, cDefault, cC).isDefined());
  EXPECT_FALSE(Connection(cNone, cB, cC).isDefined());
}

TEST(Connection, ReplaceChangesTheFirstOfSourceTargetOwnerAlone) {
  Connection connection(cA, cB, cA);
  connection.replace(cA, cC);
  EXPECT_TRUE(connection.source == cC && connection.target == cB && connection.owner == cA);
  connection.replace(cA, cC);
  EXPECT_TRUE(connection.owner == cC);
  Connection unset(cA, cDefault, cNone);
  unset.replace(cDefault, cB);
  unset.replace(cNone, cB);
  EXPECT_TRUE(unset.target == cDefault && unset.owner == cNone);
}

TEST(AutoConnection, RunsFromOrToItsClientByItsDirection) {
  AutoConnection rule(1, Connection::eSourceSide, 2);
  rule.addChild(3, Connection::eTargetSide, 4);
  const Connection to = rule.apply(cA, cB, cC);
  EXPECT_TRUE(to.source == cB && to.target == cA && to.owner == cNone && to.isAuto == 1);
  EXPECT_TRUE(haveSameEnds(rule.children.front().apply(cA, cB, cC), Connection(cA, cB, cNone)));
  rule.direction = static_cast<Connection::Direction>(2);
  EXPECT_FALSE(rule.apply(cA, cB, cC).isDefined());
  EXPECT_EQ(rule.apply(cA, cB, cC).isAuto, 0);
}

TEST(ClientConnections, AreThoseFromOrToTheClient) {
  std::list<Connection> all = {{cA, cB, cC}, {cB, cA, cC}, {cB, cC, cA}, {cNone, cNone, cNone}};
  std::list<Connection> found;
  EXPECT_EQ(std::count_if(all.begin(), all.end(), ClientConnections{cA, found}), 2);
  EXPECT_EQ(found.size(), 2u);
  EXPECT_EQ(std::count_if(all.begin(), all.end(), ClientConnections{cNone, found}), 0);
  EXPECT_EQ(all.remove_if(ConnectionFinder{cB, cA}), 1u);
}

}  // namespace
