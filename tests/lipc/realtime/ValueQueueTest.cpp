// SPDX-License-Identifier: BSL-1.0
#include "lipc/realtime/ValueQueue.h"
#include "tests/support/Testing.h"

namespace {

TEST(ValueQueue, HoldsSixtyThreeValuesFromAnyIndexOnAndSaysOnceThatTheNextIsDropped) {
  LIPC::ValueQueue queue;
  for (const int start : {0, 63, -1, 64, INT_MIN, INT_MAX}) {
    queue.queueRead = queue.queueWrite = start;
    testing::internal::CaptureStdout();
    for (int i = 0; i < 63; ++i)
      EXPECT_TRUE(queue.put(LLONG_MAX - i));
    EXPECT_FALSE(queue.put(-1));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n!!! SHMQueue overrun !!!\n");
    std::int64_t value = 0;
    for (int i = 0; i < 63; ++i)
      EXPECT_TRUE(queue.take(value) && value == LLONG_MAX - i);
    EXPECT_FALSE(queue.take(value));
  }
}

}  // namespace
