// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <optional>
#include <vector>

#include "bridges/jack/AudioCallback.h"
#include "bridges/jack/BlockTrade.h"
#include "bridges/jack/FillControl.h"
#include "bridges/jack/FrameRing.h"
#include "bridges/jack/Resampler.h"

namespace jack_bridge {

/// One direction between JACK's periods and the blocks of a session that counts another clock: the
/// ring between them, the resampler, and the control that keeps the ring as full as it should be. A
/// ring that is far from that is filled anew, with silence.
///
/// The fill is followed between JACK's periods too, as if frames came and went one by one: so it
/// does not swing with the two lengths.
///
/// Threads: one at a time.
class Crossing {
 public:
  /// What a ring holds beyond a period and a block, for a thread that is woken late.
  static constexpr double cMarginSeconds = 0.005;

  /// `channels` at least 1. Rates in frames per second.
  Crossing(FrameRing& ring, double jackRate, double sessionRate)
      : mRing(ring), mJackRate(jackRate), mSessionRate(sessionRate), mResampler(ring.channels()) {}

  void refill() { mIsRefillDue = true; }
  double drift() const { return mControl.drift(); }
  double fillSeconds() const { return mFill / mJackRate; }
  double targetSeconds() const { return mTarget / mJackRate; }

 protected:
  static constexpr long cMostFrames = 16384;  // of a block at JACK's rate

  /// Looks at the fill, in frames. True where the ring was as it should be.
  bool look(double fill, double target);
  void begin();
  /// By how much faster than in theory the ring is to be emptied, plus 1; for a block of so many
  /// frames of the session.
  double speed(unsigned frames);

  FrameRing& mRing;
  const double mJackRate;
  const double mSessionRate;
  Resampler mResampler;
  FillControl mControl;
  double mTarget = 0;  // frames
  double mFill = 0;
  bool mIsRefillDue = true;
};

class ToSession : public Crossing {
 public:
  ToSession(FrameRing& ring, double jackRate, double sessionRate);

  /// Fills the block's inputs. `since`: seconds since the period of `mark` began. False where the
  /// ring has run empty or over since the last block.
  bool pull(BlockTrade& trade, unsigned frames, const AudioCallback::Mark& mark, double since);

 private:
  static constexpr long cChunkFrames = 32;

  bool resample(long frames, double ratio);

  std::vector<float> mBlock;
  std::vector<float> mStaged;  // taken out of the ring, not yet in the resampler
  long mStagedFrom = 0;
  long mStagedTo = 0;
};

class FromSession : public Crossing {
 public:
  FromSession(FrameRing& ring, double jackRate, double sessionRate);

  /// Takes the block's outputs. Otherwise as ToSession::pull.
  bool push(BlockTrade& trade, unsigned frames, const AudioCallback::Mark& mark, double since);

 private:
  std::vector<float> mBlock;
  std::vector<float> mResampled;
};

}  // namespace jack_bridge
