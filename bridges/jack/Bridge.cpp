// SPDX-License-Identifier: BSL-1.0
#include "bridges/jack/Bridge.h"

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

void Bridge::run() {
  mClient.startLIPCSession(0);
  while (!tools::isStopRequested() && !mOutput.isOver()) {
    tendServer();
    tendSession();
    if (const auto now = Clock::now(); now >= mNextClock) {
      mNextClock = now + cClockLook;
      if (!mClient.retakeID()) tendClock();
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
      say("waiting for the JACK server {}: {}. Where it is PipeWire's: pw-jack lipc jack",
          mServer.serverName(), mServer.whyNot());
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

}  // namespace jack_bridge
