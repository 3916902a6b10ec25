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
  /// Looks every half second, as the host does, from the last time until `after` the start; the
  /// last look's verdict.
  bool watchUntil(std::chrono::milliseconds after, const std::optional<std::string>& stamp) {
    while (mLast + 500ms < after)
      isLost(mLast + 500ms, stamp);
    return isLost(after, stamp);
  }

  /// One look.
  bool isLost(std::chrono::milliseconds after, const std::optional<std::string>& stamp) {
    const auto utc = boost::posix_time::from_iso_string("20260101T120000") +
                     boost::posix_time::milliseconds(after.count());
    mLast = after;
    return watch.isLost(ClientID("client"), stamp, utc, start + after);
  }

  host::ClientWatch watch;
  const Steady::time_point start = Steady::now();
  std::chrono::milliseconds mLast{0};
};

TEST_F(ClientWatch, AStampThatStaysTheSameForFourSecondsIsALostClient) {
  EXPECT_FALSE(isLost(0ms, "20260101T115959"));
  EXPECT_FALSE(watchUntil(3900ms, "20260101T115959"));
  EXPECT_TRUE(watchUntil(4000ms, "20260101T115959"));
  EXPECT_FALSE(watchUntil(4500ms, "20260101T120004")) << "it came back";
}

TEST_F(ClientWatch, AnOldStampAloneTakesNobodyForDead) {
  EXPECT_FALSE(isLost(0ms, "20260101T080000")) << "the machine slept for hours";
  EXPECT_FALSE(watchUntil(500ms, "20260101T120000"));
  EXPECT_FALSE(isLost(60'500ms, "20260101T120000")) << "nobody watched for a minute";
  EXPECT_FALSE(watchUntil(70'000ms, "20270101T120000"));
  EXPECT_FALSE(watchUntil(80'000ms, "20270101T120000")) << "in the future counts as alive";
}

TEST_F(ClientWatch, ARowWithoutABufferOrWithAnUnreadableStampIsLostToo) {
  EXPECT_FALSE(isLost(0ms, std::nullopt));
  EXPECT_TRUE(watchUntil(2000ms, std::nullopt));
  EXPECT_FALSE(isLost(2500ms, "no time at all"));
  EXPECT_TRUE(watchUntil(6500ms, "no time at all"));
}

TEST(LockWatch, OnlyALockHeldWithoutARequestForLongerThanAnyJoinIsStuck) {
  host::LockWatch watch;
  const auto start = Steady::now();
  const auto watchUntil = [&](int from, int to) {
    bool stuck = false;
    for (int ms = from; ms <= to; ms += 500)
      stuck = watch.isStuck(start + ms * 1ms);
    return stuck;
  };
  EXPECT_FALSE(watchUntil(0, 4500));
  watch.restart();
  EXPECT_FALSE(watchUntil(5000, 9500));
  EXPECT_FALSE(watch.isStuck(start + 9600ms));
  EXPECT_TRUE(watchUntil(10'000, 10'000));
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
