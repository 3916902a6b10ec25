// SPDX-License-Identifier: BSL-1.0
#include <functional>
#include <limits>
#include <memory>

#include <gtest/gtest.h>

#include "host/SessionConnections.h"
#include "host/Timeline.h"
#include "inspect/ClientWatch.h"
#include "inspect/LockWatch.h"
#include "inspect/TableWatch.h"

namespace {

using namespace std::chrono_literals;
using LIPC::ClientID;
using Steady = std::chrono::steady_clock;

/// Asks every half second, as the host does, from `from` to `to` ms; the last verdict.
bool isTrueAt(int from, int to, const std::function<bool(Steady::time_point)>& ask) {
  static const auto start = Steady::now();
  bool verdict = false;
  for (int ms = from; ms <= to; ms += 500)
    verdict = ask(start + ms * 1ms);
  return verdict;
}

TEST(ClientWatch, OnlyWhoWasWatchedWithoutANewStampForFourSecondsIsLost) {
  using Stamp = std::optional<std::string>;
  inspect::ClientWatch watch;
  for (const auto& [from, to, stamp, isLost] :
       {std::tuple{0, 0, Stamp("20260101T080000"), false},  // the machine slept for hours
        {500, 4000, "20260101T120000", false},
        {4500, 4500, "20260101T120000", true},
        {5000, 5000, "20260101T120004", false},      // it came back
        {65'000, 65'000, "20260101T120004", false},  // nobody watched for a minute
        {70'000, 71'500, {}, false},
        {72'000, 72'000, {}, true},
        {80'000, 83'500, "no time at all", false},
        {84'000, 84'000, "no time at all", true},
        {90'000, 93'500, "99990101T000000", false},
        {94'000, 94'000, "99990101T000000", true}}) {
    if (from % 10'000 == 0) watch.forget(ClientID("client"));
    const auto ask = [&, &seen = stamp](auto now) {
      return watch.isLost(ClientID("client"), seen, now);
    };
    EXPECT_EQ(isTrueAt(from, to, ask), isLost) << to;
  }
}

TEST(TableWatch, OnlyWhatALookWouldReportIsNews) {
  const auto table = std::make_unique<LIPC::SessionBuffer>("TableWatchTest");
  LIPC::ClientEntry& row = table->entries[1];
  int events = 0;
  inspect::TableWatch watch(*table, [&](const inspect::Event&) { ++events; });
  EXPECT_FALSE(watch.hasNews());
  // Each is looked at until it is told; texts leave the last one in a buffer of the row, names may
  // have bytes behind their end, and a NaN is equal to itself here.
  const std::function<void()> changes[] = {
      [&] { table->entries[0].id = ClientID("first"); },
      [&] { row.id = ClientID("client"), row.padding[0] = 7; },
      [&] { row.setName("name"), row.name[40] = 'x'; },
      [&] { row.offlineParameters[127] = std::numeric_limits<float>::quiet_NaN(); },
      [&] { row.strings[9].put("one", 3); },
      [&] { row.strings[9].put("two", 3); },
      [&] { row.release(); }};
  for (const auto& change : changes) {
    const int before = events;
    change();
    for (int looks = 0; looks < 3 && watch.hasNews(); ++looks)
      watch.look();
    EXPECT_EQ(events, before + 1);
    EXPECT_FALSE(watch.hasNews());
  }
}

TEST(LockWatch, OnlyALockHeldWithoutARequestForLongerThanAnyJoinIsStuck) {
  inspect::LockWatch watch;
  const auto ask = [&](auto now) { return watch.isStuck(now); };
  EXPECT_FALSE(isTrueAt(0, 4500, ask));
  watch.restart();
  EXPECT_FALSE(isTrueAt(5000, 9500, ask));
  EXPECT_FALSE(isTrueAt(9600, 9600, ask));
  EXPECT_TRUE(isTrueAt(10'000, 10'000, ask));
}

TEST(SessionConnections, AFullPoolLeavesConnectionsOutAndKeepsTheSession) {
  host::SessionConnections connections;
  std::list<LIPC::Connection> many;
  for (int i = 0; i < 5000; ++i)
    many.emplace_back(ClientID("from"), ClientID("to " + std::to_string(i)), ClientID());
  LIPC::PublishedConnections published(ClientID("from"));
  published.publish(many);
  EXPECT_NE(connections.merge(ClientID("from")).find("full"), std::string::npos);
  const std::size_t kept = connections.current().size();
  EXPECT_GT(kept, 1000U);
  EXPECT_EQ(connections.takeOut(ClientID("from")), "");
  EXPECT_LT(connections.current().size(), kept);
}

TEST(Timeline, HoldsTheLatestSamplesByTheirStamps) {
  constexpr long long cCapacity = host::Timeline::cCapacity;
  constexpr long long cFar = 10 * cCapacity - 1;  // over the end of its circle
  host::Timeline timeline;
  timeline.keep({0});
  EXPECT_FALSE(timeline.isAwaited(0, 4)) << "it was never at work";
  using Samples = std::vector<float>;
  for (const auto& [t, sent, from, expected] :
       {std::tuple{-2LL, Samples{1, 1, 1, 1}, -3LL, Samples{0, 1, 1, 1, 1, 0}},
        {4, {2, 2}, 0, {1, 1, 0, 0, 2, 2, 0}},       // a gap is silent
        {4, {3, 3}, 0, {1, 1, 0, 0, 3, 3, 0}},       // sent again
        {0, {4, 4}, -2, {1, 1, 4, 4, 0, 0, 0, 0}},   // back: it forgets what was behind
        {-9, {5, 5}, -9, {5, 5, 0, 0, 0, 0, 0, 0}},  // back behind the beginning: all
        {cFar, {6, 6, 6, 6}, cFar - 1, {0, 6, 6, 6, 6, 0}},
        {cFar + 8, {7, 7}, cFar + 3, {6, 0, 0, 0, 0, 7}}}) {  // the gap lies over what was long ago
    const auto count = static_cast<unsigned>(sent.size());
    timeline.advance(t, count);
    timeline.write(0, t, count, sent.data());
    Samples heard(expected.size());
    timeline.addTo(heard.data(), 0, from, static_cast<unsigned>(heard.size()));
    EXPECT_EQ(heard, expected) << t;
    EXPECT_TRUE(timeline.isAwaited(t + 4, 4));
  }
  EXPECT_FALSE(timeline.isAwaited(cFar + cCapacity, 4)) << "it has been quiet";
}

}  // namespace
