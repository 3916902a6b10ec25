#include <boost/date_time/posix_time/posix_time.hpp>
#include <gtest/gtest.h>

#include "host/ClientWatch.h"
#include "host/LockWatch.h"
#include "host/SessionConnections.h"

namespace {

using namespace std::chrono_literals;
using LIPC::ClientID;
using Steady = std::chrono::steady_clock;

class ClientWatch : public testing::Test {
 protected:
  /// Whether the client is lost `after` the start, with `stamp` seconds of age by the wall clock.
  bool isLost(std::chrono::milliseconds after, const std::optional<std::string>& stamp) {
    const auto utc = boost::posix_time::from_iso_string("20260101T120000") +
                     boost::posix_time::milliseconds(after.count());
    return watch.isLost(ClientID("client"), stamp, utc, start + after);
  }

  host::ClientWatch watch;
  const Steady::time_point start = Steady::now();
};

TEST_F(ClientWatch, AStampThatStaysTheSameForFourSecondsIsALostClient) {
  EXPECT_FALSE(isLost(0ms, "20260101T115959"));
  EXPECT_FALSE(isLost(3900ms, "20260101T115959"));
  EXPECT_TRUE(isLost(4000ms, "20260101T115959"));
  EXPECT_FALSE(isLost(4500ms, "20260101T120004")) << "it came back";
}

TEST_F(ClientWatch, AnOldStampAloneTakesNobodyForDead) {
  EXPECT_FALSE(isLost(0ms, "20260101T080000")) << "the machine slept for hours";
  EXPECT_FALSE(isLost(500ms, "20260101T120000"));
  EXPECT_FALSE(isLost(9000ms, "20270101T120000"));
  EXPECT_FALSE(isLost(20'000ms, "20270101T120000")) << "a stamp in the future counts as alive";
}

TEST_F(ClientWatch, ARowWithoutABufferOrWithAnUnreadableStampIsLostToo) {
  EXPECT_FALSE(isLost(0ms, std::nullopt));
  EXPECT_TRUE(isLost(2000ms, std::nullopt));
  EXPECT_FALSE(isLost(3000ms, "no time at all"));
  EXPECT_TRUE(isLost(7000ms, "no time at all"));
}

TEST(LockWatch, OnlyALockHeldWithoutARequestForLongerThanAnyJoinIsStuck) {
  host::LockWatch watch;
  const auto start = Steady::now();
  EXPECT_FALSE(watch.isStuck(start));
  EXPECT_FALSE(watch.isStuck(start + 4900ms));
  watch.restart();
  EXPECT_FALSE(watch.isStuck(start + 5100ms));
  EXPECT_TRUE(watch.isStuck(start + 10'100ms));
}

TEST(SessionConnections, AFullPoolLeavesConnectionsOutAndKeepsTheSession) {
  host::SessionConnections connections;
  std::list<LIPC::Connection> many;
  for (int i = 0; i < 5000; ++i) {
    many.emplace_back(ClientID("from"), ClientID("to " + std::to_string(i)), ClientID());
  }
  LIPC::PublishedConnections published(ClientID("from"));
  published.publish(many);
  EXPECT_NE(connections.merge(ClientID("from")).find("full"), std::string::npos);
  const std::size_t kept = connections.current().size();
  EXPECT_GT(kept, 1000U);
  EXPECT_EQ(connections.takeOut(ClientID("from")), "");
  EXPECT_LT(connections.current().size(), kept);
}

}  // namespace
