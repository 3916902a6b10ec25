// SPDX-License-Identifier: BSL-1.0

// Which clock counts.
#include <cmath>

#include "bridges/jack/Bridge.h"
#include "bridges/jack/Pieces.h"

namespace jack_bridge {
namespace {

std::int64_t microseconds() {
  return static_cast<std::int64_t>(jack_get_time());
}

}  // namespace

void Bridge::tendClock() {
  if (!mServer.isOpen() || !mClient.isConnected() || Pieces::of(mPeriod).count == 0) return;
  if (mCrossing && isStillFollowed()) return;
  const std::optional<ClockGiver> counts = clockThatCounts();
  if (counts && counts->text != clockText(mRate, mServer.identity())) {
    follow(*counts);
  } else if (!mGives && (counts || mOptions.clock.empty())) {
    give();
  } else if (!mGives && !mIsClockAwaited) {
    say("waiting for the clock of {}: nobody has that ID", mOptions.clock);
    mIsClockAwaited = true;
  }
}

/// Says when the resampling has begun, and when there is nothing to follow any more.
bool Bridge::isStillFollowed() {
  const auto now = Clock::now();
  const bool isRunning = mCrossing->state().isRunning;
  if (isRunning && !mWasRunning) tellLatency();
  mWasRunning = isRunning;
  const std::optional<ClockGiver> giver = clientAsClock(mFollowed);
  if (giver && (giver->rate != 0 || !mOptions.clock.empty())) {
    mClockSeen = now;
    if (giver->rate == 0 || giver->rate == mCrossing->sessionRate()) return true;
  }
  const bool hasOtherRate = giver && giver->rate != 0;
  if (!hasOtherRate && now - mClockSeen < cPatience) return true;
  say("{} gives that clock no longer", mFollowed);
  undecide();
  return false;
}

/// The other client whose clock counts, if there is one.
std::optional<ClockGiver> Bridge::clockThatCounts() const {
  if (!mOptions.clock.empty()) {
    std::optional<ClockGiver> giver = clientAsClock(mOptions.clock);
    if (giver && giver->rate == 0) giver->rate = mRate;
    return giver;
  }
  for (const ClockGiver& giver : clockGivers()) {
    if (giver.id == mClient.configGetClientID()) continue;
    // The first counts. Of two that began to give at the same time it is that of the first row.
    const bool isBehind = mGives && giver.row > mClient.getClientIndex();
    return isBehind ? std::nullopt : std::optional(giver);
  }
  return std::nullopt;
}

/// From now on blocks go under this server's stamps, and the row says so: also where another bridge
/// on this server does.
void Bridge::give() {
  undecide();
  mGives = true;
  setClockText(clockText(mRate, mServer.identity()));
  const Pieces pieces = Pieces::of(mPeriod);
  mCallback.setMode(pieces.arePaced() ? AudioCallback::ePaced : AudioCallback::eDirect);
  if (pieces.arePaced()) {
    mPaced = std::make_unique<PacedBlocks>(
        PacedBlocks::Setup{pieces, mRate, microseconds, mServer.raiser()}, mCallback);
  }
  tellLatency();
}

void Bridge::follow(const ClockGiver& giver) {
  undecide();
  mFollowed = giver.id;
  mClockSeen = Clock::now();
  setClockText(followsText(giver.id));
  mCallback.setMode(AudioCallback::eResampled);
  ClockCrossing::Setup setup;
  setup.clock = giver.id;
  setup.sessionRate = giver.rate;
  setup.jackRate = mRate;
  setup.microseconds = microseconds;
  setup.raise = mServer.raiser();
  mCrossing = std::make_unique<ClockCrossing>(setup, mCallback, mCallback.trade());
  const bool isNamed = giver.text.starts_with("clock ");
  say("follows the clock of {} ({} Hz{}), resampled", giver.id, giver.rate,
      isNamed ? "" : ", assumed: it names no rate");
}

/// Nothing is traded until it is known again which clock counts.
void Bridge::undecide() {
  mCallback.setMode(AudioCallback::eSilent);
  mCrossing.reset();
  mPaced.reset();
  mWasRunning = mGives = false;
  setClockText("");
}

void Bridge::setClockText(const std::string& text) {
  if (text == mClockText) return;
  mClockText = text;
  mClient.setString(cClockString, text.c_str());
}

/// What goes in at a port of JACK and comes back at another, in frames of JACK.
void Bridge::tellLatency() {
  double frames = Pieces::of(mPeriod).latencyFrames();
  if (mCrossing) {
    const ClockCrossing::State state = mCrossing->state();
    const double scale = static_cast<double>(mRate) / mCrossing->sessionRate();
    frames = LIPC::BlockExchange::cLatencyBlocks * state.blockFrames * scale +
             state.latencySeconds * mRate;
    say("resampling adds {:.1f} ms", state.latencySeconds * 1000);
  }
  const auto whole = static_cast<unsigned>(std::lround(frames));
  mServer.setLatency(whole);
  say("{} frames ({:.1f} ms) into the session and back", whole, whole * 1000.0 / mRate);
}

/// The newest stamp of another bridge on the same server, or 0.
std::int64_t Bridge::stampOfOther() const {
  const std::string own = clockText(mServer.rate(), mServer.identity());
  for (const ClockGiver& giver : clockGivers()) {
    if (giver.text != own || giver.id == mClient.configGetClientID()) continue;
    if (const auto block = newestBlockOf(giver.id)) return block->stamp;
  }
  return 0;
}

}  // namespace jack_bridge
