// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <thread>

namespace examples {

/// What a sound card is in earnest: says when the next block is due. The stamps count the samples
/// of the machine's monotonic clock, so all examples on a machine share one time and the host can
/// put their blocks side by side.
class BlockClock {
 public:
  static constexpr int cSampleRate = 48000;

  /// `speed`: 1 is real time, 2 twice as fast, 0 as fast as it goes.
  BlockClock(int blockSize, double speed)
      : mBlockSize(blockSize), mSpeed(speed), mStart(Clock::now()) {
    const std::chrono::duration<double> now = mStart.time_since_epoch();
    mFirst = static_cast<long long>(now.count() * cSampleRate) / blockSize * blockSize;
    mNext = mFirst;
  }

  /// Sleeps until the next block is due and returns its time stamp. Blocks that were missed, on a
  /// machine that slept, are left out.
  long long wait() {
    if (mSpeed > 0) {
      std::this_thread::sleep_until(timeOf(mNext));
      const auto behind = Clock::now() - timeOf(mNext);
      if (behind > cMostBehind) mNext += blocksIn(behind) * mBlockSize;
    }
    const long long stamp = mNext;
    mNext += mBlockSize;
    return stamp;
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds cMostBehind{500};

  Clock::time_point timeOf(long long stamp) const {
    const std::chrono::duration<double> since(static_cast<double>(stamp - mFirst) / cSampleRate /
                                              mSpeed);
    return mStart + std::chrono::duration_cast<Clock::duration>(since);
  }
  long long blocksIn(Clock::duration time) const {
    const std::chrono::duration<double> seconds = time;
    return static_cast<long long>(seconds.count() * cSampleRate * mSpeed) / mBlockSize;
  }

  int mBlockSize;
  double mSpeed;
  Clock::time_point mStart;
  long long mFirst = 0;
  long long mNext = 0;
};

}  // namespace examples
