#include <gtest/gtest.h>

#include "host/ClientWatch.h"
#include "host/LockWatch.h"
#include "host/SessionConnections.h"

namespace {

using namespace std::chrono_literals;
using LIPC::ClientID;
using Steady = std::chrono::steady_clock;

/// Looks every half second, as the host does, from `from` until `to`; the last verdict.
bool isLost(host::ClientWatch& watch, int from, int to, const std::optional<std::string>& stamp) {
  static const auto start = Steady::now();
  bool isLost = false;
  for (int ms = from; ms <= to; ms += 500)
    isLost = watch.isLost(ClientID("client"), stamp, start + ms * 1ms);
  return isLost;
}

TEST(ClientWatch, OnlyWhoWasWatchedWithoutANewStampForFourSecondsIsLost) {
  host::ClientWatch watch;
  EXPECT_FALSE(isLost(watch, 0, 0, "20260101T080000")) << "the machine slept for hours";
  EXPECT_FALSE(isLost(watch, 500, 4000, "20260101T120000"));
  EXPECT_TRUE(isLost(watch, 4500, 4500, "20260101T120000"));
  EXPECT_FALSE(isLost(watch, 5000, 5000, "20260101T120004")) << "it came back";
  EXPECT_FALSE(isLost(watch, 65'000, 65'000, "20260101T120004")) << "nobody watched for a minute";
  for (const auto& [stamp, after] : {std::pair{std::optional<std::string>{}, 2000},
                                     {"no time at all", 4000},
                                     {"99990101T000000", 4000}}) {
    watch.forget(ClientID("client"));
    EXPECT_FALSE(isLost(watch, 70'000, 69'500 + after, stamp));
    EXPECT_TRUE(isLost(watch, 70'000 + after, 70'000 + after, stamp));
  }
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
