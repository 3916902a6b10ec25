// SPDX-License-Identifier: BSL-1.0
#include <gtest/gtest.h>

#include "lipc/session/Connection.h"

namespace {

using namespace LIPC;

TEST(Connection, WiresTakeTheFirstUnusedPlaceAndMappedChannelsLeaveNoGaps) {
  constexpr auto cSource = Connection::eSourceSide, cTarget = Connection::eTargetSide;
  Connection connection;
  for (int i = 0; i < 32; ++i)
    EXPECT_EQ(connection.addWire(i, 100 + i), i);
  EXPECT_EQ(connection.addWire(1, 1), -1);
  connection.clearChannel(103, cTarget);
  EXPECT_EQ(connection.findUnusedIndex(), 3);
  connection.clearChannels(1, cSource);
  EXPECT_TRUE(connection.addWire(9, -1) == 1 && connection.findUnusedIndex() == 1);
  connection.setWiresFromChannels(std::vector<int>(100, 1).data(), 100);
  EXPECT_EQ(connection.disconnectRequested, 0);
  connection.setWiresFromChannels(std::vector<int>{3, -1, 5}.data(), 3);
  EXPECT_EQ(connection.getWiredChannel(2, cTarget), 5);
  EXPECT_TRUE(connection.getWiredChannel(3, cSource) == 0 && connection.findUnusedIndex() == 2);
}

}  // namespace
