// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "bridges/jack/AudioCallback.h"
#include "bridges/jack/Crossings.h"
#include "bridges/jack/SessionClocks.h"

namespace jack_bridge {

/// A bridge into a session that counts another clock: trades with the session in step with another
/// client, block for block under its stamps, and resamples between that and JACK's periods, which
/// come and go through the callback's rings. How full the rings are says how far the clocks drift.
///
///   JACK's period -> ring -> resampler -> block to the session
///   JACK's period <- ring <- resampler <- its answer
///
/// Each ring holds a period and a margin, that to the session a block too. In latency it costs,
/// from port to port, a period, a block, two margins, and the resamplers' own delay.
///
/// Threads: one of its own, for as long as this object lives; `state` from any.
class ClockCrossing {
 public:
  struct Setup {
    std::string clock;  // ID
    int sessionRate = 48000;
    int jackRate = 48000;
    std::function<std::int64_t()> microseconds;  // JACK's clock
    std::function<void()> raise;                 // this thread, to the priority of audio
  };
  /// Everything outlives this object. Throws std::runtime_error when there is no resampler to be
  /// had.
  ClockCrossing(const Setup& setup, AudioCallback& callback, BlockTrade& trade);
  ~ClockCrossing();
  ClockCrossing(const ClockCrossing&) = delete;
  ClockCrossing& operator=(const ClockCrossing&) = delete;

  struct State {
    bool isRunning = false;  // the other client's blocks come
    double drift = 0;  // of JACK's clock against the session's; 1e-6: it is a millionth faster
    double fillSeconds = 0;     // of both rings
    double targetSeconds = 0;   // what they should hold
    double latencySeconds = 0;  // from port to port, without the session's own four blocks
    unsigned blockFrames = 0;   // of the session's
    std::uint64_t refills = 0;  // rings that ran empty or over, and were filled anew
  };
  State state() const;
  int sessionRate() const { return mSetup.sessionRate; }

 private:
  void run();
  void follow(const ForeignClock::Block& newest);
  void trade(const ForeignClock::Block& block);
  void publish(unsigned frames, double periodSeconds);

  const Setup mSetup;
  AudioCallback& mCallback;
  BlockTrade& mTrade;
  ForeignClock mClock;
  std::optional<ToSession> mTo;
  std::optional<FromSession> mFrom;
  ForeignClock::Block mLast;
  bool mIsInStep = false;
  std::atomic<bool> mIsRunning{false};
  std::atomic<double> mDrift{0};
  std::atomic<double> mFill{0};
  std::atomic<double> mTarget{0};
  std::atomic<double> mLatency{0};
  std::atomic<unsigned> mBlockFrames{0};
  std::atomic<std::uint64_t> mRefills{0};
  std::atomic<bool> mStop{false};
  std::thread mThread;
};

}  // namespace jack_bridge
