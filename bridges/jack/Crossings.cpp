// SPDX-License-Identifier: BSL-1.0
#include "bridges/jack/Crossings.h"

#include <algorithm>
#include <cmath>

namespace jack_bridge {
namespace {

// Further from what it should hold a ring is filled anew: to get there by speed would take too
// long.
constexpr double cFarSeconds = 0.03;
constexpr double cFarForLongSeconds = 0.005;

}  // namespace

bool Crossing::look(double fill, double target) {
  const bool wasRight = !mIsRefillDue;
  mFill = fill;
  mTarget = target;
  if (std::abs(fill - target) > cFarSeconds * mJackRate ||
      std::abs(mControl.error()) > cFarForLongSeconds) {
    mIsRefillDue = true;
  }
  return !wasRight || !mIsRefillDue;
}

void Crossing::begin() {
  mIsRefillDue = false;
  mFill = mTarget;
  mResampler.reset();
  mControl.refilled();
}

double Crossing::speed(unsigned frames) {
  return 1 + mControl.update((mFill - mTarget) / mJackRate, frames / mSessionRate);
}

ToSession::ToSession(FrameRing& ring, double jackRate, double sessionRate)
    : Crossing(ring, jackRate, sessionRate),
      mBlock(std::size_t{ring.channels()} * Pieces::cMostFrames),
      mStaged(std::size_t{ring.channels()} * cChunkFrames) {}

bool ToSession::pull(BlockTrade& trade, unsigned frames, const AudioCallback::Mark& mark,
                     double since) {
  const double held = static_cast<double>(mark.written - mRing.taken() + mStagedTo - mStagedFrom);
  const double period = static_cast<double>(mark.frames);
  bool isRight = look(held + since * mJackRate,
                      period + frames * mJackRate / mSessionRate + cMarginSeconds * mJackRate);
  if (mIsRefillDue && mFill >= mTarget) {
    mRing.skip(static_cast<unsigned>(mFill - mTarget));
    mStagedFrom = mStagedTo = 0;
    begin();
  }
  std::fill(mBlock.begin(), mBlock.end(), 0.0F);
  if (!mIsRefillDue && !resample(frames, mSessionRate / mJackRate / speed(frames))) {
    isRight = false;
    refill();
  }
  const float* sample = mBlock.data();
  for (unsigned i = 0; i < frames; ++i)
    for (unsigned c = 0; c < mRing.channels(); ++c)
      trade.channel(c)[i] = *sample++;
  return isRight;
}

/// False where the ring ran empty.
bool ToSession::resample(long frames, double ratio) {
  const long channels = mRing.channels();
  for (long done = 0; done < frames;) {
    if (mStagedFrom == mStagedTo) {
      const unsigned count = std::min<unsigned>(mRing.fill(), cChunkFrames);
      if (count == 0) return false;
      mRing.read(count, [&](unsigned c, unsigned i, float sample) noexcept {
        mStaged[i * static_cast<unsigned>(channels) + c] = sample;
      });
      mStagedFrom = 0;
      mStagedTo = count;
    }
    const Resampler::Moved moved =
        mResampler.process(mStaged.data() + mStagedFrom * channels, mStagedTo - mStagedFrom,
                           mBlock.data() + done * channels, frames - done, ratio);
    if (moved.in == 0 && moved.out == 0) return false;
    mStagedFrom += moved.in;
    done += moved.out;
  }
  return true;
}

FromSession::FromSession(FrameRing& ring, double jackRate, double sessionRate)
    : Crossing(ring, jackRate, sessionRate),
      mBlock(std::size_t{ring.channels()} * Pieces::cMostFrames),
      mResampled(std::size_t{ring.channels()} * cMostFrames) {}

bool FromSession::push(BlockTrade& trade, unsigned frames, const AudioCallback::Mark& mark,
                       double since) {
  const double period = static_cast<double>(mark.frames);
  const double held = static_cast<double>(mRing.written() - mark.taken) + period;
  const bool isRight = look(held - since * mJackRate, period + cMarginSeconds * mJackRate);
  if (mIsRefillDue) {
    if (mFill > mTarget) return isRight;  // until JACK has taken what is too much
    if (!mRing.write(static_cast<unsigned>(mTarget - mFill),
                     [](unsigned, unsigned) noexcept { return 0.0F; })) {
      return isRight;
    }
    begin();
  }
  float* sample = mBlock.data();
  for (unsigned i = 0; i < frames; ++i)
    for (unsigned c = 0; c < mRing.channels(); ++c)
      *sample++ = trade.channel(c)[i];
  const Resampler::Moved moved =
      mResampler.process(mBlock.data(), frames, mResampled.data(), cMostFrames,
                         mJackRate / mSessionRate / speed(frames));
  mRing.write(static_cast<unsigned>(moved.out), [&](unsigned c, unsigned i) noexcept {
    return mResampled[std::size_t{i} * mRing.channels() + c];
  });
  return isRight;
}

}  // namespace jack_bridge
