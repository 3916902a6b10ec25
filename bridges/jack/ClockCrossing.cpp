// SPDX-License-Identifier: BSL-1.0
#include "bridges/jack/ClockCrossing.h"

#include <chrono>

#include "lipc/util/Threads.h"

namespace jack_bridge {
namespace {

using namespace std::chrono_literals;

constexpr auto cLook = 500us;
/// Without a period for so long JACK stands still.
constexpr double cStandsStillSeconds = 0.5;

}  // namespace

ClockCrossing::ClockCrossing(const Setup& setup, AudioCallback& callback, BlockTrade& trade)
    : mSetup(setup), mCallback(callback), mTrade(trade), mClock(setup.clock) {
  if (trade.inputs() > 0) mTo.emplace(callback.toSession(), setup.jackRate, setup.sessionRate);
  if (trade.outputs() > 0) mFrom.emplace(callback.fromSession(), setup.jackRate, setup.sessionRate);
  mThread = LIPC::startThread([this] { run(); });
}

ClockCrossing::~ClockCrossing() {
  mStop = true;
  mThread.join();
}

ClockCrossing::State ClockCrossing::state() const {
  return {mIsRunning, mDrift, mFill, mTarget, mLatency, mBlockFrames, mRefills};
}

void ClockCrossing::run() {
  LIPC::setCurrentThreadName("LIPC JACK clock");
  mSetup.raise();
  for (; !mStop; std::this_thread::sleep_for(cLook)) {
    if (const auto newest = mClock.newest()) {
      follow(*newest);
    } else {
      mIsRunning = mIsInStep = false;
    }
  }
}

/// Trades the blocks that the other client has sent since the last look: its periods may bring
/// several at once.
void ClockCrossing::follow(const ForeignClock::Block& newest) {
  const long long ahead = newest.stamp - mLast.stamp;
  const bool isNext = mIsInStep && newest.frames == mLast.frames && ahead >= 0 &&
                      ahead % newest.frames == 0 &&
                      ahead <= static_cast<long long>(Pieces::cMostAtOnce) * newest.frames;
  if (!isNext) {
    if (mIsInStep) ++mRefills;
    if (mTo) mTo->refill();
    if (mFrom) mFrom->refill();
    mLast = {newest.stamp - newest.frames, newest.frames};
    mIsInStep = true;
  }
  while (mLast.stamp < newest.stamp) {
    mLast.stamp += newest.frames;
    trade(mLast);
  }
}

void ClockCrossing::trade(const ForeignClock::Block& block) {
  const AudioCallback::Mark mark = mCallback.mark();
  const double since = static_cast<double>(mSetup.microseconds() - mark.microseconds) / 1e6;
  mIsRunning = mark.microseconds != 0 && since < cStandsStillSeconds;
  if (!mIsRunning) {
    mIsInStep = false;
    return;
  }
  bool isRight = !mTo || mTo->pull(mTrade, block.frames, mark, since);
  mTrade.trade(block.frames, block.stamp);
  if (mFrom && !mFrom->push(mTrade, block.frames, mark, since)) isRight = false;
  if (!isRight) ++mRefills;
  publish(block.frames, static_cast<double>(mark.frames) / mSetup.jackRate);
}

void ClockCrossing::publish(unsigned frames, double periodSeconds) {
  const auto sum = [&](double (Crossing::*of)() const) {
    return (mTo ? ((*mTo).*of)() : 0) + (mFrom ? ((*mFrom).*of)() : 0);
  };
  mDrift = mTo ? mTo->drift() : -mFrom->drift();
  mFill = sum(&Crossing::fillSeconds);
  mTarget = sum(&Crossing::targetSeconds);
  // JACK's frames have their time within a period, and the ring to the session has all of it at
  // once.
  mLatency = mTarget - (mTo ? periodSeconds : 0);
  mBlockFrames = frames;
}

}  // namespace jack_bridge
