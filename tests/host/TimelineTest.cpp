#include <gtest/gtest.h>

#include "host/Timeline.h"

namespace {

/// What a timeline holds of its channel 0, `count` samples from `t` on.
std::vector<float> heard(const host::Timeline& timeline, long long t, unsigned count) {
  std::vector<float> out(count);
  timeline.addTo(out.data(), 0, t, count);
  return out;
}

TEST(Timeline, HoldsTheLatestSamplesByTheirStamps) {
  host::Timeline timeline;
  timeline.keep({0});
  const auto send = [&](long long t, unsigned count, float value) {
    timeline.advance(t, count);
    timeline.write(0, std::vector<float>(count, value).data());
  };
  EXPECT_FALSE(timeline.isAwaited(0, 4)) << "it was never at work";
  send(-2, 4, 1.0F);
  EXPECT_EQ(heard(timeline, -3, 6), (std::vector<float>{0, 1, 1, 1, 1, 0}));
  EXPECT_TRUE(timeline.isAwaited(0, 4));
  send(4, 2, 2.0F);
  EXPECT_EQ(heard(timeline, 0, 7), (std::vector<float>{1, 1, 0, 0, 2, 2, 0})) << "a gap is silent";
  send(4, 2, 3.0F);
  EXPECT_EQ(heard(timeline, 0, 7), (std::vector<float>{1, 1, 0, 0, 3, 3, 0})) << "sent again";
  send(0, 2, 4.0F);
  EXPECT_EQ(heard(timeline, -2, 8), (std::vector<float>{1, 1, 4, 4, 0, 0, 0, 0}))
      << "a step back forgets what was behind it";
  send(-9, 2, 4.5F);
  EXPECT_EQ(heard(timeline, -9, 9), (std::vector<float>{4.5, 4.5, 0, 0, 0, 0, 0, 0, 0}))
      << "a step back behind the beginning forgets all";
  const long long far = 10LL * host::Timeline::cCapacity - 1;  // over the end of its circle
  send(far, 4, 5.0F);
  EXPECT_EQ(heard(timeline, far - 1, 6), (std::vector<float>{0, 5, 5, 5, 5, 0}));
  EXPECT_FALSE(timeline.isAwaited(far + host::Timeline::cCapacity, 4)) << "it has been quiet";
}

}  // namespace
