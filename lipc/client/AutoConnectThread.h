// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <atomic>
#include <functional>
#include <thread>

namespace LIPC {

/// The auto-connect loop's thread and timing; what a pass does is the client's.
///
/// Threads: `start` and `join` from the application's thread, the rest from any.
class AutoConnectThread {
 public:
  static constexpr int cShortestLoopMS = 100;
  static constexpr int cLongestLoopMS = 500;
  /// Sleep between two attempts to join.
  static constexpr int cDisconnectedSleepMS = 100;

  /// Starts `body` on a thread of its own unless there is one already. Throws std::system_error
  /// "thread constructor failed".
  void start(int startDelayMS, std::function<void()> body);
  void requestStop() { mStopRequested = true; }
  bool isStopRequested() const { return mStopRequested; }
  /// Returns after the thread has ended; at once when there is none.
  void join();

  /// Sleeps the start delay, on the thread itself. deliberate: a stop request does not shorten it.
  void sleepStartDelay() const;
  static void sleepDisconnected();

  /// Clamped to 100...500 ms.
  void setLoopDurationMS(int ms);
  int loopDurationMS() const { return mAutoConnectLoopDurationMS; }

 private:
  int mStartDelayMS = 500;
  std::thread mThread;
  std::atomic<bool> mStopRequested{false};
  std::atomic<int> mAutoConnectLoopDurationMS{cLongestLoopMS};
};

}  // namespace LIPC
