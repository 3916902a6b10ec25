// SPDX-License-Identifier: BSL-1.0
#pragma once

#include "lipc/realtime/BlockExchange.h"
#include "lipc/util/RealTime.h"

namespace jack_bridge {

/// How a period of JACK is cut into blocks of the session: equal ones, since a block's answer is
/// found by its length. Blocks have 3 to 1024 frames. No more than four to a period: of a fifth the
/// answer would be wanted in the very call that sends the block.
struct Pieces {
  static constexpr unsigned cFewestFrames = 3;
  static constexpr unsigned cMostFrames = LIPC::AudioBlock::cMostSamples;
  static constexpr unsigned cMost = LIPC::BlockExchange::cLatencyBlocks;

  /// `count` is 0 for a period that cannot be cut so.
  static Pieces of(unsigned period) noexcept LIPC_NONBLOCKING {
    if (period < cFewestFrames) return {};
    for (unsigned count = 1; count <= cMost; ++count) {
      if (period % count == 0 && period / count <= cMostFrames) return {count, period / count};
    }
    return {};
  }

  /// From what goes into the session to what comes back of it.
  unsigned latencyFrames() const { return LIPC::BlockExchange::cLatencyBlocks * frames; }

  unsigned count = 0;
  unsigned frames = 0;  // of each
};

}  // namespace jack_bridge
