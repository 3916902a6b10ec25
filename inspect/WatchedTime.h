// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <algorithm>
#include <chrono>

namespace inspect {

/// Time during which somebody watched. A gap between two looks counts for a second at most: while
/// this process was stopped, or the machine slept, nobody watched, and whoever was watched may have
/// been stopped as well.
class WatchedTime {
 public:
  using SteadyTime = std::chrono::steady_clock::time_point;

  explicit WatchedTime(SteadyTime now) : mLastLook(now) {}

  /// Looks now; returns the time watched so far.
  std::chrono::nanoseconds look(SteadyTime now) {
    mWatched += std::min<std::chrono::nanoseconds>(now - mLastLook, cLongestGap);
    mLastLook = now;
    return mWatched;
  }

 private:
  static constexpr std::chrono::seconds cLongestGap{1};

  SteadyTime mLastLook;
  std::chrono::nanoseconds mWatched{0};
};

}  // namespace inspect
