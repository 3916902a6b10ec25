#include <gtest/gtest.h>
#include <semaphore.h>

#include "lipc/realtime/SemaphoreHandle.h"

namespace {

using namespace LIPC;

TEST(Semaphore, NewRecordsOfOneNameShareAFreshSemaphoreUntilTheLastOneEnds) {
  {
    const Semaphore old("Short", 5);
    const SemaphoreHandle leftBehind(old);
    const Semaphore record("Short", 1), twin("Short", 1);
    SemaphoreHandle poster(record), waiter(twin);
    EXPECT_TRUE(waiter.try_wait() && !poster.timed_wait(10));
    poster.post();
    EXPECT_TRUE(waiter.timed_wait(60'000));
  }
  EXPECT_EQ(sem_open("/7<86?627", 0), SEM_FAILED);
}

}  // namespace
