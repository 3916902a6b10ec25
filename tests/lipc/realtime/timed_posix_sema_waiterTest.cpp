// SPDX-License-Identifier: BSL-1.0
#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/realtime/timed_posix_sema_waiter.h"
#include "tests/support/SyslogCapture.h"
#include "tests/support/Testing.h"

namespace {

using namespace LIPC;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

struct Waiter : testing::Test {
  const Semaphore record{"WaiterTest", 0}, otherRecord{"WaiterTestOther", 0};
  SemaphoreHandle sema{record}, other{otherRecord};
  const support::SyslogCapture log;
  timed_posix_sema_waiter waiter;
};

TEST_F(Waiter, ASecondWaitIsLoggedSleepsAndIsFalseUntilAPostEndsTheFirst) {
  const std::string inUse = "\n!!! timed_posix_sema_waiter timed_wait : still in use . sema first";
  // Whichever comes second loses: "first" tries again until it was the first.
  std::thread first([&] {
    EXPECT_TRUE(support::eventually(30s, [&] { return waiter.timed_wait(sema, 5000, "first"); }));
  });
  EXPECT_TRUE(support::eventually(30s, [&] {
    waiter.timed_wait(other, 0, "second");
    return log.count(inUse + " (by other thread)  \n !!!") == 1;
  }));
  other.post();
  auto start = Clock::now();
  EXPECT_FALSE(waiter.timed_wait(other, 100, "second"));
  EXPECT_GE(Clock::now() - start, 95ms);
  sema.post();
  first.join();
  EXPECT_TRUE(waiter.timed_wait(other, 60'000, "second"));
  start = Clock::now();
  EXPECT_FALSE(waiter.timed_wait(other, -5, nullptr) || waiter.timed_wait(other, 100, nullptr));
  EXPECT_GE(Clock::now() - start, 95ms);
  EXPECT_FALSE(other.try_wait()) << "a time-out leaves the count as it was";
}

TEST_F(Waiter, ATimeOutWhosePostAnotherTakesOrWhoseCallerIsHeldUpEndsWithTheCountAsItWas) {
  // A handler that sleeps stands for a machine without a free core.
  std::signal(SIGUSR1, [](int) { std::this_thread::sleep_for(200ms); });
  std::thread caller([&] { EXPECT_FALSE(waiter.timed_wait(sema, 100, "held up")); });
  std::this_thread::sleep_for(20ms);
  pthread_kill(caller.native_handle(), SIGUSR1);
  caller.join();
  std::signal(SIGUSR1, SIG_DFL);
  EXPECT_FALSE(sema.try_wait()) << "posted again while it was held up";

  std::atomic<bool> isBack{false};
  std::thread robbed([&] {
    EXPECT_FALSE(waiter.timed_wait(sema, 100, "robbed"));
    isBack = true;
  });
  int stolen = 0;
  EXPECT_TRUE(support::eventually(20s, [&] {
    if (stolen < 2 && sema.timed_wait(1)) ++stolen;
    return isBack.load();
  }));
  sema.post();  // it ends in any case
  robbed.join();
}

}  // namespace
