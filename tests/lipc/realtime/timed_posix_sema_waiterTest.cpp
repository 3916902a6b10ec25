#include <gtest/gtest.h>

#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/realtime/timed_posix_sema_waiter.h"
#include "tests/support/SyslogCapture.h"
#include "tests/support/Wait.h"

namespace {

using namespace LIPC;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class Waiter : public testing::Test {
 protected:
  const Semaphore mRecord{"WaiterTest", 0};
  SemaphoreHandle mSemaphore{mRecord};
  support::SyslogCapture mLog;
  timed_posix_sema_waiter mWaiter;
};

TEST_F(Waiter, APostBeforeOrDuringTheWaitEndsItWithTrue) {
  mSemaphore.post();
  EXPECT_TRUE(mWaiter.timed_wait(mSemaphore, 60'000, "before"));
  std::thread poster([&] {
    std::this_thread::sleep_for(50ms);
    mSemaphore.post();
  });
  EXPECT_TRUE(mWaiter.timed_wait(mSemaphore, 60'000, "during"));
  poster.join();
  EXPECT_FALSE(mSemaphore.try_wait());
}

TEST_F(Waiter, ATimeOutIsFalseAtItsTimeAndLeavesTheCountAsItWas) {
  for (const int ms : {100, 0, -5}) {
    const auto start = Clock::now();
    EXPECT_FALSE(mWaiter.timed_wait(mSemaphore, ms, nullptr));
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(ms) - 5ms);
    EXPECT_LT(Clock::now() - start, 5s);
    EXPECT_FALSE(mSemaphore.try_wait());
  }
}

TEST_F(Waiter, ASecondWaitMeanwhileIsLoggedSleepsItsTimeAndIsFalse) {
  const std::string inUse =
      "\n!!! timed_posix_sema_waiter timed_wait : still in use . sema first (by other thread)  \n "
      "!!!";
  // Whichever wait comes second loses: "first" tries again until it was the first.
  std::thread other([&] {
    while (!mWaiter.timed_wait(mSemaphore, 2000, "first")) {
    }
  });
  const Semaphore record("WaiterTestSecond", 0);
  SemaphoreHandle second(record);
  EXPECT_TRUE(support::eventually(
      20s, [&] { return !mWaiter.timed_wait(second, 0, "second") && mLog.count(inUse) == 1; }));
  second.post();
  const auto start = Clock::now();
  EXPECT_FALSE(mWaiter.timed_wait(second, 100, "second"));
  EXPECT_GE(Clock::now() - start, 95ms);
  EXPECT_TRUE(second.try_wait());
  EXPECT_EQ(mLog.count(inUse), 2);
  mSemaphore.post();
  other.join();
}

TEST_F(Waiter, ShortWaitsThatRaceWithPostsKeepTheCountExact) {
  std::atomic<bool> stop{false};
  int posted = 0, taken = 0, timedOut = 0;
  std::thread poster([&] {
    for (; !stop; ++posted) {
      mSemaphore.post();
      std::this_thread::sleep_for(std::chrono::microseconds(700 + 100 * (posted % 10)));
    }
  });
  for (int i = 0; i < 400; ++i)
    ++(mWaiter.timed_wait(mSemaphore, i % 3, "race") ? taken : timedOut);
  stop = true;
  poster.join();
  // A time-out that coincides with a post leaves its count behind; none is lost.
  while (mSemaphore.try_wait())
    ++taken;
  EXPECT_EQ(taken, posted);
  EXPECT_GT(timedOut, 0);
  EXPECT_TRUE(mLog.messages().empty());
}

TEST_F(Waiter, EndsAtAnyPointOfItsLife) {
  for (int i = 0; i < 200; ++i) {
    timed_posix_sema_waiter waiter;
    if (i % 2 == 1) {
      EXPECT_FALSE(waiter.timed_wait(mSemaphore, 0, "end"));
    }
  }
}

}  // namespace
