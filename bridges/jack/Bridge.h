// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <fmt/core.h>

#include "bridges/jack/AudioCallback.h"
#include "bridges/jack/BridgeOptions.h"
#include "bridges/jack/ClockCrossing.h"
#include "bridges/jack/JackServer.h"
#include "bridges/jack/PacedBlocks.h"
#include "bridges/jack/SessionClient.h"
#include "tools/Output.h"

namespace jack_bridge {

/// lipc jack: a client of a session and of a JACK server, for as long as nobody ends it. Either may
/// come, go and come back.
///
/// Which clock counts is looked at four times a second:
///
///   undecided    in the session, and the server runs
///     another bridge gives its server's clock, and this is that server, or
///     nobody gives one                              -> gives     "clock ..." in its row
///     another bridge gives another server's         -> follows   "follows ID" in its row
///   gives        two gave at the same time: whose row is behind the other's follows
///   follows      the other is gone for cPatience    -> undecided
///   any          the server ended, or the session   -> undecided, nothing in its row
///
/// Threads: one; what it holds has its own.
class Bridge {
 public:
  explicit Bridge(const BridgeOptions& options);
  /// Until a stop is requested, or nobody reads the output. Throws tools::Failure.
  void run();

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::seconds cPatience{5};

  void tendServer();
  bool isStandingStill();
  void serverOpened();
  void look(unsigned period, int rate);
  void tendSession();
  void tendClock();
  bool isStillFollowed();
  std::optional<ClockGiver> clockThatCounts() const;
  void give();
  void follow(const ClockGiver& giver);
  void undecide();
  void setClockText(const std::string& text);
  void tellLatency();
  void sayStatus();
  std::int64_t stampOfOther() const;
  std::string whyNoSession() const;
  template <class... Values>
  void say(fmt::format_string<Values...> format, Values&&... values) {
    mOutput.print(fmt::format(format, std::forward<Values>(values)...));
  }

  const BridgeOptions mOptions;
  tools::Output mOutput;
  SessionClient mClient;
  AudioCallback mCallback;
  JackServer mServer;
  std::unique_ptr<PacedBlocks> mPaced;       // while it gives, with long periods
  std::unique_ptr<ClockCrossing> mCrossing;  // while it follows
  std::string mFollowed;
  std::string mClockText;
  bool mGives = false;
  bool mWasInSession = false;
  bool mHadServer = false;
  bool mIsServerAwaited = false;  // and that was said
  bool mIsHostAwaited = false;    // and that was said
  bool mIsClockAwaited = false;   // and that was said
  bool mWasRunning = false;       // of the crossing
  std::uint64_t mPeriods = 0;
  Clock::time_point mLastPeriod;
  unsigned mPeriod = 0;
  int mRate = 0;
  Clock::time_point mSince = Clock::now();  // of the last join or leave
  Clock::time_point mClockSeen;
  Clock::time_point mNextOpen;
  Clock::time_point mNextClock;
  Clock::time_point mNextTend;
  Clock::time_point mNextStatus;
};

}  // namespace jack_bridge
