// SPDX-License-Identifier: BSL-1.0
#include "bridges/jack/Bridge.h"

#include <cmath>
#include <thread>

#include "bridges/jack/Pieces.h"
#include "tools/ExitStatus.h"
#include "tools/Failure.h"
#include "tools/StopRequest.h"
#include "tools/Text.h"

namespace jack_bridge {
namespace {

using namespace std::chrono_literals;

constexpr auto cPass = 50ms;
constexpr auto cClockLook = 250ms;
constexpr auto cOpenAgain = 1s;
constexpr auto cPortsLook = 500ms;
constexpr auto cPatienceForHost = 1s;

std::int64_t microseconds() {
  return static_cast<std::int64_t>(jack_get_time());
}

std::string why(unsigned period) {
  if (period < Pieces::cFewestFrames) {
    return fmt::format("blocks of a session have {} frames at the least", Pieces::cFewestFrames);
  }
  return fmt::format("it cannot be cut into equal blocks of {} to {}", Pieces::cFewestPacedFrames,
                     Pieces::cMostFrames);
}

std::string periodText(unsigned period, int rate) {
  const Pieces pieces = Pieces::of(period);
  std::string text = fmt::format("{} Hz, periods of {} frames", rate, period);
  if (pieces.count > 1) text += fmt::format(" in {} blocks of {}", pieces.count, pieces.frames);
  return text;
}

}  // namespace

Bridge::Bridge(const BridgeOptions& options)
    : mOptions(options),
      mClient(options),
      mCallback(mClient, mClient.answers(), static_cast<unsigned>(options.inputs),
                static_cast<unsigned>(options.outputs)),
      mServer(options, mCallback) {}

template <class... Values>
void Bridge::say(fmt::format_string<Values...> format, Values&&... values) {
  mOutput.print(fmt::format(format, std::forward<Values>(values)...));
}

void Bridge::run() {
  mClient.startLIPCSession(0);
  while (!tools::isStopRequested() && !mOutput.isOver()) {
    tendServer();
    tendSession();
    if (const auto now = Clock::now(); now >= mNextClock) {
      mNextClock = now + cClockLook;
      tendClock();
    }
    if (mOptions.status && Clock::now() >= mNextStatus) sayStatus();
    std::this_thread::sleep_for(cPass);
  }
  undecide();
  mServer.close();
}

void Bridge::tendServer() {
  const auto now = Clock::now();
  if (mServer.isOpen() && (mServer.isLost() || isStandingStill())) {
    undecide();
    say("the JACK server {} is gone ({}); waiting for it", mServer.serverName(),
        mServer.isLost() ? mServer.whyNot() : "it has no periods any more");
    mIsServerAwaited = true;
    mServer.close();
    mNextOpen = now + cOpenAgain;
  }
  if (!mServer.isOpen() && now >= mNextOpen) {
    if (mServer.open([this] { return stampOfOther(); })) {
      serverOpened();
    } else if (!mIsServerAwaited) {
      say("waiting for the JACK server {}: {}", mServer.serverName(), mServer.whyNot());
      mIsServerAwaited = true;
    }
    mNextOpen = Clock::now() + cOpenAgain;
  }
  if (!mServer.isOpen()) return;
  if (const unsigned period = mServer.period(); period != mPeriod || mServer.rate() != mRate)
    look(period, mServer.rate());
  if (now >= mNextTend) {
    mServer.tend();
    mNextTend = now + cPortsLook;
  }
}

/// Not every libjack says that its server has ended.
bool Bridge::isStandingStill() {
  const auto now = Clock::now();
  if (const std::uint64_t periods = mCallback.periods(); periods != mPeriods) {
    mPeriods = periods;
    mLastPeriod = now;
  }
  return now - mLastPeriod > cPatience;
}

void Bridge::serverOpened() {
  mLastPeriod = Clock::now();
  const unsigned period = mServer.period();
  if (!mHadServer && Pieces::of(period).count == 0) {
    mServer.close();
    throw tools::Failure(tools::eExitFailure,
                         "The JACK server {} has periods of {} frames, and {}. Start it with "
                         "another period, or change it: jack_bufsize 256",
                         mServer.serverName(), period, why(period));
  }
  mIsServerAwaited = false;
  mPeriod = 0;
  say("{} in JACK, server {}: {}", mServer.clientName(), mServer.serverName(),
      periodText(period, mServer.rate()));
  look(period, mServer.rate());
  mHadServer = true;
}

/// The period or the rate is new.
void Bridge::look(unsigned period, int rate) {
  const bool isChange = mPeriod != 0;
  mPeriod = period;
  mRate = rate;
  undecide();
  if (Pieces::of(period).count == 0) {
    say("JACK now has periods of {} frames: silence, since {}", period, why(period));
  } else if (isChange) {
    say("JACK now has {}", periodText(period, rate));
  }
  mNextClock = {};
}

void Bridge::tendSession() {
  const auto now = Clock::now();
  const bool isIn = mClient.isConnected();
  if (isIn != mWasInSession) {
    mWasInSession = isIn;
    mSince = now;
    mIsHostAwaited = false;
    if (isIn) {
      const std::string id = mClient.configGetClientID();
      say("joined as {}{}", id,
          id == mOptions.id ? ""
                            : fmt::format(", since another client has the ID {}", mOptions.id));
    } else {
      undecide();
      say("left the session");
    }
  }
  if (isIn || mIsHostAwaited || now - mSince < cPatienceForHost) return;
  say("waiting for a session host: {}", whyNoSession());
  mIsHostAwaited = true;
}

std::string Bridge::whyNoSession() const {
  if (LIPC::ShmManaged::find(LIPC::cNoConnectSegment)) return "the one that is there forbids joins";
  switch (mClient.getVersionStatus()) {
    case LIPC::eVersionNoHost:
      return "there is none";
    case LIPC::eVersionMatches:
      return "the one that is there lets nobody in";
    default:
      return "the one that is there is of another protocol version or pointer width";
  }
}

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
  say("follows the clock of {} ({} Hz), resampled", giver.id, giver.rate);
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

void Bridge::sayStatus() {
  mNextStatus = Clock::now() + 1s;
  if (!mServer.isOpen()) return;
  std::string line = fmt::format("{}  load {:.1f} %, xruns {}, late {}, missing {}",
                                 tools::clockText(), mServer.load(), mServer.xruns(),
                                 mClient.answers().late(), mClient.answers().missing());
  if (mCrossing) {
    const ClockCrossing::State state = mCrossing->state();
    line += state.isRunning
                ? fmt::format(", drift {:+.1f} ppm, fill {:.1f} of {:.1f} ms, refills {}",
                              state.drift * 1e6, state.fillSeconds * 1000,
                              state.targetSeconds * 1000, state.refills)
                : fmt::format(", {} sends nothing", mFollowed);
  }
  say("{}", line);
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
