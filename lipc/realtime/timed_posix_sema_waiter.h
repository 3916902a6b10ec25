// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include <pthread.h>

namespace LIPC {

class SemaphoreHandle;

/// A blocking wait with a time-out on a named semaphore, which macOS does not offer: a thread of
/// its own posts the semaphore when the time runs out and records that it did.
///
/// One object serves one wait at a time. A second thread that comes while a wait is in progress
/// does not wait on its semaphore at all: that is logged, it sleeps for its time-out and is told
/// false.
///
/// The commands and the state of the waiter thread share one word:
///
///   state      set by                          leads to
///   STOPPED 4  waiter thread (idle, at first)  START
///   START   1  timed_wait: begin timing        STARTED
///   STARTED 2  waiter thread: timing           STOP, or STOPPED after a time-out
///   STOP    3  timed_wait: really posted       STOPPED
///   EXIT    5  destructor                      the thread ends
///
/// When the real post and the time-out coincide, one surplus count may stay on the semaphore; a
/// caller that needs the exact count drains it. Another process may take the post that was meant to
/// end the wait; the waiter thread then posts again until its caller is free.
///
/// Threads: `timed_wait` from any, never from the audio thread.
class timed_posix_sema_waiter {
 public:
  /// Starts the waiter thread. Throws std::system_error "thread constructor failed".
  timed_posix_sema_waiter();
  /// Stops and joins it. No wait may be in progress.
  ~timed_posix_sema_waiter();
  timed_posix_sema_waiter(const timed_posix_sema_waiter&) = delete;
  timed_posix_sema_waiter& operator=(const timed_posix_sema_waiter&) = delete;

  /// Waits on `sem` for at most `ms` milliseconds. True when it was really posted (or failed, as
  /// `SemaphoreHandle::wait` does), false on time-out or when another wait is in progress. `name`
  /// labels the wait in messages; null reads as empty.
  bool timed_wait(SemaphoreHandle& sem, int ms, const char* name);

 private:
  enum eState : std::int32_t { START = 1, STARTED = 2, STOP = 3, STOPPED = 4, EXIT = 5 };
  using Lock = std::unique_lock<std::mutex>;
  struct Timing {
    std::uint64_t waitNumber;
    std::chrono::milliseconds timeout;
  };

  bool claim(SemaphoreHandle& sem, int ms, const char* name, std::string& inProgress);
  bool finish();
  void waiterThreadExec();
  std::optional<Timing> waitForStart();
  bool timed_wait_for_stop(std::chrono::milliseconds ms);
  void postTimeout(std::uint64_t waitNumber);
  void send_cmd(eState cmd);
  void sendStart(Lock& lock);
  void sendStop(Lock& lock);

  // Guarded by mMutex unless said otherwise. The thread comes last: it uses all the others.
  SemaphoreHandle* mCurrent = nullptr;  // null: the waiter is free
  int mTimeoutMS = 0;
  pthread_t mCaller{};  // who waits, for a debugger
  std::string mName;
  std::atomic<bool> mStopThread{false};
  unsigned mTimeoutCount = 0;
  std::uint64_t mWaitNumber = 0;  // tells a late time-out that its wait is over
  std::mutex mMutex;
  std::condition_variable mChanged;
  // Of no use any more: keeps the size of what applications derive from (VERSIONING.md).
  [[maybe_unused]] std::byte mReserved[sizeof(std::condition_variable)];
  eState mState = STOPPED;
  std::thread mThread;
};

}  // namespace LIPC
