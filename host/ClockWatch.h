// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/AudioCycle.h"

namespace host {

/// Finds clients that are connected, both send, and never meet: one counts another clock, as one
/// does that begins at 0. Each of them is answered block for block, so nothing else shows it.
///
/// Pure. Threads: one at a time.
class ClockWatch {
 public:
  /// Samples. Twice what a client can have announced unread: 63 blocks of 1024.
  static constexpr long long cFar = 131'072;

  /// Who hears whom. Returns a sentence for each pair that was further apart than cFar at this look
  /// and at the one before, and of which both have sent meanwhile; the next one for that pair when
  /// it has met, or was not there, in between.
  std::vector<std::string> look(const std::vector<AudioCycle::Hearing>& hearings);

 private:
  struct Pair {
    AudioCycle::Hearing before;
    bool isSaid = false;
  };
  std::map<std::pair<LIPC::ClientID, LIPC::ClientID>, Pair> mPairs;
};

}  // namespace host
