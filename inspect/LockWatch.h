// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <optional>

#include "inspect/WatchedTime.h"

namespace inspect {

/// Notices a registration lock that is held with no request for longer than any join takes: its
/// holder died. A join asks its host within about three seconds of taking the lock (one for a
/// stamp's mutex, two for the connection pool's lock).
///
/// Pure. Threads: the host's lock guards every call.
class LockWatch {
 public:
  using SteadyTime = WatchedTime::SteadyTime;

  static constexpr std::chrono::milliseconds cLongestJoin{5000};

  /// A request was answered, or the lock was seen free: whoever holds it now has just taken it.
  void restart() { mHeld.reset(); }
  /// The lock was seen held. True when it has been for too long.
  bool isStuck(SteadyTime now) {
    if (!mHeld) mHeld.emplace(now);
    return mHeld->look(now) >= cLongestJoin;
  }

 private:
  std::optional<WatchedTime> mHeld;
};

}  // namespace inspect
