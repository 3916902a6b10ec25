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

TEST_F(Waiter, ATimeOutIsFalseAtItsTimeAndLeavesTheCountAsItWas) {
  for (const int ms : {100, 0, -5}) {
    const auto start = Clock::now();
    EXPECT_FALSE(waiter.timed_wait(sema, ms, nullptr) || sema.try_wait());
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(ms) - 5ms);
    EXPECT_LT(Clock::now() - start, 10s);
  }
}

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
  const auto start = Clock::now();
  EXPECT_FALSE(waiter.timed_wait(other, 100, "second"));
  EXPECT_GE(Clock::now() - start, 95ms);
  sema.post();
  first.join();
  EXPECT_TRUE(waiter.timed_wait(other, 60'000, "second"));
}

TEST_F(Waiter, ShortWaitsThatRaceWithPostsLoseNone) {
  int posted = 0, taken = 0;
  std::thread poster([&] {
    for (; posted < 400; std::this_thread::sleep_for(1ms), ++posted)
      sema.post();
  });
  for (int i = 0; i < 400; ++i)
    taken += waiter.timed_wait(sema, i % 3, "race");
  poster.join();
  // A time-out that coincides with a post leaves its count behind.
  while (sema.try_wait())
    ++taken;
  EXPECT_GE(taken, posted);
  EXPECT_TRUE(log.messages().empty());
}

TEST_F(Waiter, ACallerThatIsHeldUpAtTheTimeOutLeavesNoCountBehind) {
  // A handler that sleeps stands for a machine without a free core.
  std::signal(SIGUSR1, [](int) { std::this_thread::sleep_for(200ms); });
  std::atomic<bool> waiting{false};
  bool wasPosted = true;
  std::thread caller([&] {
    waiting = true;
    wasPosted = waiter.timed_wait(sema, 100, "held up");
  });
  while (!waiting)
    std::this_thread::yield();
  std::this_thread::sleep_for(20ms);
  pthread_kill(caller.native_handle(), SIGUSR1);
  caller.join();
  std::signal(SIGUSR1, SIG_DFL);
  EXPECT_FALSE(wasPosted || sema.try_wait());
}

}  // namespace
