// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>

#include "lipc/realtime/SHMSlices.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/session/ShmManaged.h"

namespace examples {

/// The clock that another client counts, usually that of a sound card, seen from outside: by the
/// stamps in its "-send" ring, through a mapping of one's own. These come in steps of that client's
/// blocks; what is told here is a smooth time that keeps up with them.
///
/// Threads: one.
class SessionClock {
 public:
  using Clock = std::chrono::steady_clock;

  /// `id`: whose clock it is; empty: that of the first client which says in string 5 that others
  /// should follow it ("clock 48000 Hz, ..."), as a bridge to a sound card does.
  explicit SessionClock(std::string id) : mID(std::move(id)) {}

  /// Looks for it, and follows it. Call it once per block.
  void look() {
    const Clock::time_point now = Clock::now();
    if (now - mLooked >= cLook) {
      mLooked = now;
      find();
    }
    const std::optional<Block> block = newest();
    if (block && block->stamp != mStamp) {
      // The first that is seen may be an old one.
      if (mStamp && mIsNew) jump(block->stamp, now);
      mStamp = block->stamp;
      mMoved = now;
    }
    if (block && !mIsNew && now - mMoved < cStandsStill) follow(*block, now);
  }
  /// Whether it is there: it has moved lately.
  bool isThere() const { return !mIsNew && Clock::now() - mMoved < cGone; }
  /// Samples per second, as the client says.
  int sampleRate() const { return mRate; }
  /// Where the clock is at that time, in samples.
  double at(Clock::time_point time) const { return mOffset + secondsOf(time) * mRate; }
  /// When it will be there.
  Clock::time_point when(double sample) const {
    const std::chrono::duration<double> seconds((sample - mOffset) / mRate);
    return Clock::time_point(std::chrono::duration_cast<Clock::duration>(seconds));
  }
  /// Whose it is; empty: nobody's so far.
  const std::string& id() const { return mFollowed; }

 private:
  static constexpr int cClockString = 5;
  static constexpr std::chrono::milliseconds cLook{500};
  static constexpr std::chrono::seconds cGone{5};
  static constexpr std::chrono::milliseconds cStandsStill{250};
  static constexpr std::chrono::milliseconds cLookWindow{200};
  static constexpr double cShare = 0.1;    // of an error that a window corrects
  static constexpr double cJump = 8192.0;  // samples
  static constexpr int cMostRate = 10'000'000;

  static double secondsOf(Clock::time_point time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
  }
  static int rateOf(const LIPC::ClientEntry& entry) {
    const std::string text(entry.strings[cClockString].current());
    if (!text.starts_with("clock ")) return 0;
    const long rate = std::strtol(text.c_str() + 6, nullptr, 10);
    return rate > 0 && rate < cMostRate ? static_cast<int>(rate) : 0;
  }

  void find() {
    const LIPC::ShmReadOnly<LIPC::SessionBuffer> session(LIPC::cSessionSegment);
    if (session.get() == nullptr) return;
    for (const LIPC::ClientEntry& entry : session->entries) {
      const int rate = rateOf(entry);
      const std::string id = LIPC::ClientID(entry.id).text();
      if (entry.isFree() || (mID.empty() ? rate == 0 : id != mID)) continue;
      // The ring anew each time: the client may have joined again meanwhile.
      mRing.emplace((id + LIPC::cSendSuffix).c_str());
      if (id != mFollowed || (rate != 0 && rate != mNextRate)) {
        mFollowed = id;
        mNextRate = rate != 0 ? rate : mNextRate;
        mStamp.reset();
        mIsNew = true;
      }
      return;
    }
    mRing.reset();
  }

  struct Block {
    long long stamp;
    long long end;
  };
  std::optional<Block> newest() const {
    if (!mRing || mRing->get() == nullptr) return std::nullopt;
    const LIPC::SHMSlices& ring = *mRing->get();
    const LIPC::SHMSliceBuffer& slice = ring.slices[ring.currentIndex()];
    const long long stamp = LIPC::loadAcquire(slice.timeStamp);
    const std::uint32_t samples = LIPC::loadRelaxed(slice.sampleCount);
    if (samples == 0 || samples > LIPC::SHMChannel::cSampleCount) return std::nullopt;
    return Block{stamp, stamp + samples};
  }

  void jump(long long stamp, Clock::time_point now) {
    mIsNew = false;
    mIsFirstWindow = true;
    mRate = mNextRate;
    mOffset = static_cast<double>(stamp) - secondsOf(now) * mRate;
    begin(now);
  }
  void begin(Clock::time_point now) {
    mWindow = now;
    mLowest = std::numeric_limits<double>::max();
  }
  /// The clock is never ahead of what that client has sent, and comes up to it just before the next
  /// block: so it does not matter in how long ones they come, nor how many at a time.
  void follow(const Block& block, Clock::time_point now) {
    mLowest = std::min(mLowest, static_cast<double>(block.end) - secondsOf(now) * mRate);
    if (now - mWindow < cLookWindow) return;
    if (std::abs(mLowest - mOffset) > cJump) {
      jump(block.stamp, now);
    } else {
      mOffset += (mIsFirstWindow ? 1 : cShare) * (mLowest - mOffset);
      mIsFirstWindow = false;
      begin(now);
    }
  }

  const std::string mID;
  std::string mFollowed;
  std::optional<LIPC::ShmReadOnly<LIPC::SHMSlices>> mRing;
  bool mIsNew = true;          // it has not been seen to move yet
  bool mIsFirstWindow = true;  // since it jumped
  int mNextRate = 48000;
  std::optional<long long> mStamp;
  // The clock is mOffset + mRate * the steady clock's seconds.
  int mRate = 48000;
  double mOffset = 0;
  double mLowest = 0;
  Clock::time_point mWindow, mLooked, mMoved;
};

}  // namespace examples
