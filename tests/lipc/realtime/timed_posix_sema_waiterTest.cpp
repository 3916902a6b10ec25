#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/realtime/timed_posix_sema_waiter.h"
#include "tests/support/SyslogCapture.h"
#include "tests/support/Testing.h"

namespace {

using namespace LIPC;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TEST(Waiter, ASecondWaitIsLoggedSleepsAndIsFalseUntilAPostEndsTheFirst) {
  const Semaphore record{"WaiterTest", 0}, otherRecord{"WaiterTestOther", 0};
  SemaphoreHandle sema{record}, other{otherRecord};
  const support::SyslogCapture log;
  timed_posix_sema_waiter waiter;
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
  const auto start = Clock::now();
  EXPECT_FALSE(waiter.timed_wait(other, 100, "second"));
  EXPECT_GE(Clock::now() - start, 95ms);
  sema.post();
  first.join();
  EXPECT_TRUE(waiter.timed_wait(other, 60'000, "second"));
  EXPECT_FALSE(waiter.timed_wait(other, -5, nullptr) || waiter.timed_wait(other, 100, nullptr));
}

}  // namespace
