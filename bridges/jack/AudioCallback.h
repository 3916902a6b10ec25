// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <atomic>
#include <cstdint>

#include "bridges/jack/BlockTrade.h"
#include "bridges/jack/FrameRing.h"
#include "bridges/jack/FrameTime.h"

namespace jack_bridge {

/// What JACK hands over once a period. Null buffers are silence.
struct Period {
  unsigned frames = 0;
  std::uint32_t frameTime = 0;       // of its first frame
  std::uint64_t microseconds = 0;    // JACK's clock at its start
  const float* const* in = nullptr;  // per channel
  float* const* out = nullptr;
};

/// The work of JACK's process callback, without JACK.
///
///   eSilent      nothing is traded, the outputs are silent
///   eDirect      the session counts this server's frames: each period is traded within the
///   callback,
///                in equal pieces, under the stamps of JACK's frame time
///   ePaced       the same, for periods of more than three pieces: they go into a ring and come out
///                of one, and a thread of PacedBlocks does the rest
///   eResampled   the session counts another clock: the same with a thread of ClockCrossing
///
/// Threads: `period` on JACK's audio thread; it neither allocates, locks, logs nor waits. `begin`
/// while no period comes. The others on one thread of the application's.
class AudioCallback {
 public:
  enum eMode { eSilent, eDirect, ePaced, eResampled };

  /// Frames that may lie in a ring: the longest periods of JACK and of the session, and then some.
  static constexpr unsigned cRingFrames = 32768;

  AudioCallback(LIPC::Client& client, AnswerWatch& answers, unsigned inputs, unsigned outputs);

  /// A server was opened, and no period has come yet. See FrameTime.
  void begin(int rate, std::int64_t stampOfOther);
  /// Returns when no period runs in the mode before any more, or after half a second. The rings are
  /// then empty and there is no mark. No other thread uses them meanwhile.
  void setMode(eMode mode);
  eMode mode() const { return mMode; }

  void period(const Period& period) noexcept LIPC_NONBLOCKING;
  /// So far.
  std::uint64_t periods() const { return mPeriods; }

  /// The newest period in ePaced or eResampled. `written`, `taken`: of the rings, when it was over.
  struct Mark {
    std::int64_t microseconds = 0;  // 0: none yet
    std::int64_t stamp = 0;
    std::int64_t frames = 0;
    std::int64_t written = 0;
    std::int64_t taken = 0;
  };
  Mark mark() const;

  FrameRing& toSession() { return mToSession; }
  FrameRing& fromSession() { return mFromSession; }
  /// For the thread of ePaced or eResampled; no period trades then.
  BlockTrade& trade() { return mTrade; }

 private:
  void direct(const Period& period, std::int64_t stamp) noexcept LIPC_NONBLOCKING;
  void throughRings(const Period& period, std::int64_t stamp,
                    bool isPaced) noexcept LIPC_NONBLOCKING;
  void silence(const Period& period) const noexcept LIPC_NONBLOCKING;

  const unsigned mInputs;
  const unsigned mOutputs;
  BlockTrade mTrade;
  FrameTime mTime;
  FrameRing mToSession;
  FrameRing mFromSession;
  std::atomic<eMode> mMode{eSilent};
  std::atomic<bool> mIsRunning{false};
  std::atomic<std::uint64_t> mPeriods{0};
  std::atomic<std::uint32_t> mMarkTurn{0};  // odd while the mark is written
  std::atomic<std::int64_t> mMarkTime{0};
  std::atomic<std::int64_t> mMarkStamp{0};
  std::atomic<std::int64_t> mMarkFrames{0};
  std::atomic<std::int64_t> mMarkWritten{0};
  std::atomic<std::int64_t> mMarkTaken{0};
};

}  // namespace jack_bridge
