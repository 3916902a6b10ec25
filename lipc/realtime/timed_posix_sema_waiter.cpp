// SPDX-License-Identifier: BSL-1.0
#include "lipc/realtime/timed_posix_sema_waiter.h"

#include <syslog.h>

#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/util/Threads.h"

namespace LIPC {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

/// Sleeps of one millisecond after which a command gives up waiting for the other side's state.
constexpr int cHandOverAttempts = 10'000;

/// How long a caller may take to come back from its wait before it is posted once more.
constexpr milliseconds cRepostInterval(20);

void sleepUnlocked(std::unique_lock<std::mutex>& lock, microseconds duration) {
  lock.unlock();
  std::this_thread::sleep_for(duration);
  lock.lock();
}

}  // namespace

timed_posix_sema_waiter::timed_posix_sema_waiter()
    : mThread(startThread([this] { waiterThreadExec(); })) {}

timed_posix_sema_waiter::~timed_posix_sema_waiter() {
  mStopThread = true;
  send_cmd(EXIT);
  if (mThread.joinable()) mThread.join();
}

bool timed_posix_sema_waiter::timed_wait(SemaphoreHandle& sem, int ms, const char* name) {
  if (std::string inProgress; !claim(sem, ms, name, inProgress)) {
    syslog(
        LOG_ALERT,
        "\n!!! timed_posix_sema_waiter timed_wait : still in use . sema %s (by other thread)  \n "
        "!!!",
        inProgress.c_str());
    if (ms > 0) std::this_thread::sleep_for(milliseconds(ms));
    return false;
  }
  send_cmd(START);
  sem.wait();
  send_cmd(STOP);
  return finish();
}

bool timed_posix_sema_waiter::claim(SemaphoreHandle& sem, int ms, const char* name,
                                    std::string& inProgress) {
  const Lock lock(mMutex);
  if (mCurrent != nullptr) {
    inProgress = mName;
    return false;
  }
  mCurrent = &sem;
  mCaller = pthread_self();
  mName = name != nullptr ? name : "";
  mTimeoutMS = ms;
  mTimeoutCount = 0;
  ++mWaitNumber;
  return true;
}

bool timed_posix_sema_waiter::finish() {
  const Lock lock(mMutex);
  // This thread may have been held up, not robbed, while it was posted again: what it did not need
  // would end the next wait on the semaphore.
  for (unsigned surplus = 1; surplus < mTimeoutCount; ++surplus)
    mCurrent->try_wait();
  mCurrent = nullptr;
  return mTimeoutCount == 0;
}

void timed_posix_sema_waiter::waiterThreadExec() {
  setCurrentThreadName("LIPC Posix Semaphore timed waiter");
  while (!mStopThread) {
    const std::optional<Timing> timing = waitForStart();
    if (!timing) return;
    if (!timed_wait_for_stop(timing->timeout)) postTimeout(timing->waitNumber);
  }
}

std::optional<timed_posix_sema_waiter::Timing> timed_posix_sema_waiter::waitForStart() {
  Lock lock(mMutex);
  mChanged.wait(lock, [this] { return mState == START || mState == EXIT; });
  const bool exit = mState == EXIT;
  mState = STARTED;
  if (exit || mStopThread) return std::nullopt;
  return Timing{mWaitNumber, milliseconds(mTimeoutMS)};
}

bool timed_posix_sema_waiter::timed_wait_for_stop(milliseconds ms) {
  Lock lock(mMutex);
  // Answers from the present state; false when it says to go on timing.
  const auto ended = [this](bool& stopped) {
    if (mState == START) {
      syslog(LOG_ALERT, "\n!!! Start cmd in timed_wait_for_stop !!! \n");
    } else if (mState != STOP && mState != EXIT) {
      return false;
    }
    mState = STOPPED;
    stopped = true;
    return true;
  };

  bool stopped = false;
  if (ms < milliseconds(1)) {
    if (!ended(stopped)) mState = STOPPED;
    return stopped;
  }
  milliseconds::rep waited = 0;
  do {
    if (ended(stopped)) return true;
    // deliberate: each wake-up that is not a STOP starts a full new wait, not the remainder.
    const auto start = std::chrono::steady_clock::now();
    mChanged.wait_until(lock, std::chrono::system_clock::now() + ms);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    waited = std::chrono::duration_cast<milliseconds>(elapsed).count();
  } while (waited < ms.count());
  mState = STOPPED;
  return false;
}

/// That the caller is back wakes nobody: the next START does, which mostly follows at once, and
/// otherwise the end of the interval. A client that does nothing has a wake-up less each pass.
void timed_posix_sema_waiter::postTimeout(std::uint64_t waitNumber) {
  Lock lock(mMutex);
  const auto isOver = [&] { return mCurrent == nullptr || mWaitNumber != waitNumber; };
  while (!isOver() && !mStopThread) {
    ++mTimeoutCount;
    mCurrent->post();
    mChanged.wait_for(lock, cRepostInterval, isOver);
  }
}

void timed_posix_sema_waiter::send_cmd(eState cmd) {
  Lock lock(mMutex);
  switch (cmd) {
    case START:
      return sendStart(lock);
    case STOP:
      return sendStop(lock);
    default:
      mState = EXIT;
      mChanged.notify_one();
  }
}

void timed_posix_sema_waiter::sendStart(Lock& lock) {
  if (mState != STOPPED) sleepUnlocked(lock, microseconds(1));
  for (int attempt = 0; mState != STOPPED && attempt < cHandOverAttempts; ++attempt) {
    sleepUnlocked(lock, milliseconds(1));
  }
  if (mState != STOPPED) {
    syslog(
        LOG_ALERT,
        "\n!!! START cmd timed out waiting for timed_posix_sema_waiter state to be = STOPPED (is "
        "%d) !!! \n",
        mState);
  }
  mState = START;
  lock.unlock();  // or the thread would wake up to wait for it
  mChanged.notify_one();
}

void timed_posix_sema_waiter::sendStop(Lock& lock) {
  if (mState == START) {  // the thread never picked the command up
    mState = STOPPED;
    return;
  }
  if (mState == STOPPED) return;  // ended by time-out
  for (int attempt = 0; mState != STARTED && attempt < cHandOverAttempts; ++attempt) {
    sleepUnlocked(lock, milliseconds(1));
  }
  if (mState == STARTED) {
    mState = STOP;
  } else {
    syslog(LOG_ALERT,
           "\n!!! STOP cmd timed out waiting for timed_posix_sema_waiter state to be = STARTED (is "
           "%d) !!! \n",
           mState);
  }
  mChanged.notify_one();
}

}  // namespace LIPC
