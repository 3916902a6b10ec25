// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <thread>

#include "examples/SessionClock.h"

namespace examples {

/// What a sound card is in earnest: says when the next block is due, and its stamp. All clients of
/// a session count one clock, so that the host can put their blocks side by side. This follows the
/// session's: that of the client that it is told, or of the session's first bridge to a sound card.
/// Where there is none, it counts the samples of the machine's monotonic clock, as all examples do.
class BlockClock {
 public:
  static constexpr int cSampleRate = 48000;

  /// `speed`: 1 is real time, 2 twice as fast, 0 as fast as it goes; other than at 1 it follows
  /// nobody. `follow`: ID of the client whose clock counts; empty: see SessionClock. A clock that
  /// it is told and that is not there is waited for, here and in `wait`; `stop` ends that.
  BlockClock(int blockSize, double speed, const std::string& follow, const std::atomic<bool>& stop)
      : mBlockSize(blockSize), mSpeed(speed), mTold(follow), mStop(stop), mSession(follow) {
    countAlone();
    if (mSpeed == 1) followSession();
  }

  /// Sleeps until the next block is due and returns its time stamp. Blocks that were missed, on a
  /// machine that slept, are left out.
  long long wait() {
    if (mSpeed == 1) followSession();
    if (mSpeed > 0) {
      std::this_thread::sleep_until(timeOf(mNext));
      const auto behind = Clock::now() - timeOf(mNext);
      if (behind > cMostBehind) mNext += blocksIn(behind) * mBlockSize;
    }
    const long long stamp = mNext;
    mNext += mBlockSize;
    return stamp;
  }

  /// Samples per second.
  int sampleRate() const { return mFollows ? mSession.sampleRate() : cSampleRate; }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds cMostBehind{500};
  static constexpr std::chrono::milliseconds cFirstLook{300};
  static constexpr std::chrono::milliseconds cPoll{2};
  static constexpr std::chrono::seconds cPatience{1};
  static constexpr double cJumpSamples = 16384;

  void countAlone() {
    mFollows = false;
    mStart = Clock::now();
    const std::chrono::duration<double> now = mStart.time_since_epoch();
    mFirst = static_cast<long long>(now.count() * cSampleRate) / mBlockSize * mBlockSize;
    mNext = mFirst;
  }
  /// The next block of a clock that is there.
  void countSession() {
    mFollows = true;
    const auto now = static_cast<long long>(mSession.at(Clock::now()));
    mNext = (now / mBlockSize + 1) * mBlockSize;
  }

  void followSession() {
    mSession.look();
    waitForSession();
    if (mSession.isThere()) {
      // Far away: its stamps have jumped, after an xrun or with another server.
      const double ahead = static_cast<double>(mNext) - mSession.at(Clock::now());
      if (!mFollows || std::abs(ahead) > cJumpSamples) countSession();
    } else if (mFollows && mTold.empty()) {
      countAlone();
    }
  }
  /// For a clock that it has been told; for one that is there until it shows itself, with its
  /// second block.
  void waitForSession() {
    const Clock::time_point start = Clock::now();
    bool isSaid = false;
    while (!mStop && !mSession.isThere() && !mFollows) {
      const auto waited = Clock::now() - start;
      if (mTold.empty() && (mHasWaited || mSession.id().empty() || waited > cFirstLook)) break;
      if (!isSaid && waited > cPatience) {
        std::printf("waiting for the clock of %s\n", mTold.c_str());
        isSaid = true;
      }
      std::this_thread::sleep_for(cPoll);
      mSession.look();
    }
    mHasWaited = true;
  }

  Clock::time_point timeOf(long long stamp) const {
    if (mFollows) return mSession.when(static_cast<double>(stamp));
    const std::chrono::duration<double> since(static_cast<double>(stamp - mFirst) / cSampleRate /
                                              mSpeed);
    return mStart + std::chrono::duration_cast<Clock::duration>(since);
  }
  long long blocksIn(Clock::duration time) const {
    const std::chrono::duration<double> seconds = time;
    return static_cast<long long>(seconds.count() * sampleRate() * mSpeed) / mBlockSize;
  }

  const int mBlockSize;
  const double mSpeed;
  const std::string mTold;
  const std::atomic<bool>& mStop;
  SessionClock mSession;
  bool mFollows = false;
  bool mHasWaited = false;
  Clock::time_point mStart;
  long long mFirst = 0;
  long long mNext = 0;
};

}  // namespace examples
