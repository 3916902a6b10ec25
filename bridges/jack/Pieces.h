// SPDX-License-Identifier: BSL-1.0
#pragma once

#include "lipc/realtime/BlockExchange.h"
#include "lipc/util/RealTime.h"

namespace jack_bridge {

/// How a period of JACK is cut into blocks of the session: equal ones, since a block's answer is
/// found by its length, of 3 to 1024 frames.
///
/// Up to three are traded at once in the process callback. More would be too many: a host waits for
/// what others send at a block's time until three more blocks have come. So where there are more,
/// they are traded one by one as their time comes (PacedBlocks).
struct Pieces {
  static constexpr unsigned cFewestFrames = 3;
  static constexpr unsigned cMostFrames = LIPC::AudioBlock::cMostSamples;
  static constexpr unsigned cMostAtOnce = LIPC::BlockExchange::cLatencyBlocks - 1;
  static constexpr unsigned cFewestPacedFrames = 64;

  /// `count` is 0 for a period that cannot be cut so.
  static Pieces of(unsigned period) noexcept LIPC_NONBLOCKING {
    if (period < cFewestFrames) return {};
    for (unsigned count = 1; count <= cMostAtOnce || period / count >= cFewestPacedFrames;
         ++count) {
      if (period % count == 0 && period / count <= cMostFrames) return {count, period / count};
    }
    return {};
  }

  bool arePaced() const noexcept LIPC_NONBLOCKING { return count > cMostAtOnce; }
  unsigned period() const noexcept LIPC_NONBLOCKING { return count * frames; }
  /// From what goes into the session to what comes back of it: four blocks, and where they are
  /// paced the period before which the last of them is not there.
  unsigned latencyFrames() const {
    return LIPC::BlockExchange::cLatencyBlocks * frames + (arePaced() ? period() : 0);
  }

  unsigned count = 0;
  unsigned frames = 0;  // of each
};

}  // namespace jack_bridge
