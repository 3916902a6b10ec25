// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>

#include "bridges/jack/AudioCallback.h"
#include "bridges/jack/Pieces.h"

namespace jack_bridge {

/// Trades the blocks of long periods one by one: each when JACK's clock is where it begins. Their
/// answers are the next period's.
///
/// Threads: one of its own, for as long as this object lives.
class PacedBlocks {
 public:
  struct Setup {
    Pieces pieces;
    int rate = 48000;
    std::function<std::int64_t()> microseconds;  // JACK's clock
    std::function<void()> raise;                 // this thread, to the priority of audio
  };
  /// `callback` outlives this object.
  PacedBlocks(const Setup& setup, AudioCallback& callback);
  ~PacedBlocks();
  PacedBlocks(const PacedBlocks&) = delete;
  PacedBlocks& operator=(const PacedBlocks&) = delete;

 private:
  void run();
  void tradeWhatIsDue();
  void trade(long long stamp);

  const Setup mSetup;
  AudioCallback& mCallback;
  std::int64_t mPeriod = 0;  // stamp
  unsigned mDone = 0;        // blocks of it
  std::atomic<bool> mStop{false};
  std::thread mThread;
};

}  // namespace jack_bridge
