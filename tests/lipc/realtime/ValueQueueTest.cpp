#include <climits>
#include <memory>

#include <gtest/gtest.h>

#include "lipc/realtime/ValueQueue.h"

namespace {

TEST(ValueQueue, HoldsSixtyThreeValuesInOrderAndSaysOnceThatTheNextIsDropped) {
  LIPC::ValueQueue queue;
  queue.reset();
  std::int64_t value = 0, next = LLONG_MAX - 1000, expected = next;
  for (int round = 0; round < 3; ++round) {
    testing::internal::CaptureStdout();
    for (int i = 0; i < 63; ++i)
      EXPECT_TRUE(queue.put(next++));
    EXPECT_FALSE(queue.put(-1));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n!!! SHMQueue overrun !!!\n");
    for (; queue.take(value); ++expected)
      EXPECT_EQ(value, expected);
    EXPECT_EQ(expected, next);
  }
}

TEST(ValueQueue, SpoiltIndicesNeverLeaveTheRing) {
  for (const int spoilt : {-1, 64, 100'000, INT_MIN, INT_MAX}) {
    const auto queue = std::make_unique<LIPC::ValueQueue>();
    queue->queueRead = queue->queueWrite = spoilt;
    std::int64_t value = 0;
    EXPECT_TRUE(queue->put(1) && queue->take(value));
    queue->queueWrite = spoilt - (spoilt > 0 ? 1 : -1);
    int taken = 0;
    while (taken < 64 && queue->take(value))
      ++taken;
    EXPECT_LT(taken, 64);
  }
}

}  // namespace
