// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <memory>

#include "lipc/realtime/Semaphore.h"
#include "lipc/util/RealTime.h"

namespace boost::interprocess {
class named_semaphore;
}

namespace LIPC {

/// A process's own handle on the named semaphore of a `Semaphore` record. The record must outlive
/// the handle (messages name it).
///
/// Threads: every operation, from any. `try_wait` and `post` are for the audio thread too: they
/// neither allocate nor lock nor log, save on a handle in error, which logs each time.
/// Errors: no operation throws for a semaphore's error. Errors go to the system log at warning
/// priority, and the waits then answer true, deliberately, so that an error never blocks a caller.
class SemaphoreHandle {
 public:
  /// Opens or creates the platform semaphore (permissions 0666, the record's initial count). When
  /// that fails the handle stays without a semaphore: the "zero" handle of the messages. Nothing is
  /// created from a record that is not well formed.
  explicit SemaphoreHandle(const Semaphore& semaphore);
  /// Closes; does not unlink.
  ~SemaphoreHandle();
  SemaphoreHandle(const SemaphoreHandle&) = delete;
  SemaphoreHandle& operator=(const SemaphoreHandle&) = delete;

  bool isOpen() const { return mSemaphore != nullptr; }
  /// The errno for which it is not open; 0 when it is, or when the record is not well formed.
  int error() const { return mError; }

  /// Blocks until the count is positive and takes one. A signal does not end the wait, although the
  /// system reports it as an error: nothing was posted, and the caller would take it for a post.
  void wait();
  /// As `wait`, at most `ms` milliseconds of the wall clock. False on time-out.
  bool timed_wait(unsigned ms);
  /// Takes one if the count is positive. False when it is not.
  bool try_wait() noexcept LIPC_NONBLOCKING;
  void post() noexcept LIPC_NONBLOCKING;
  /// Takes until the count is zero. deliberate: as `try_wait` answers true on an error, this goes
  /// on (and logs) for as long as a semaphore keeps failing.
  void clear();

 private:
  const Semaphore& mRecord;
  std::unique_ptr<boost::interprocess::named_semaphore> mSemaphore;
  int mError = 0;
};

}  // namespace LIPC
