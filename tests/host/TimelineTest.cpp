#include <gtest/gtest.h>

#include "host/Timeline.h"

namespace {

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
        {cFar, {6, 6, 6, 6}, cFar - 1, {0, 6, 6, 6, 6, 0}}}) {
    timeline.advance(t, static_cast<unsigned>(sent.size()));
    timeline.write(0, sent.data());
    Samples heard(expected.size());
    timeline.addTo(heard.data(), 0, from, static_cast<unsigned>(heard.size()));
    EXPECT_EQ(heard, expected) << t;
    EXPECT_TRUE(timeline.isAwaited(t + 4, 4));
  }
  EXPECT_FALSE(timeline.isAwaited(cFar + cCapacity, 4)) << "it has been quiet";
}

}  // namespace
