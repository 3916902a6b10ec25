// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>

namespace LIPC {

/// Judges the host's heartbeat counter, one value per pass of the auto-connect loop.
///
///   counter      verdict
///   above last   eAdvanced; the count of unchanged passes starts again
///   equal        eStalled, and eGone at the eleventh pass in a row
///   below last   eRestarted: another host, or the same one started again
class HeartbeatWatch {
 public:
  enum class eVerdict { eAdvanced, eStalled, eGone, eRestarted };

  /// Unchanged passes after which one more means that the host is gone.
  static constexpr int cToleratedPasses = 10;

  void restart(std::uint64_t tick) {
    mLastSessionTick = tick;
    mUnchangedTickCount = 0;
  }

  eVerdict observe(std::uint64_t tick) {
    if (tick < mLastSessionTick) return eVerdict::eRestarted;
    if (tick == mLastSessionTick) {
      return mUnchangedTickCount++ >= cToleratedPasses ? eVerdict::eGone : eVerdict::eStalled;
    }
    restart(tick);
    return eVerdict::eAdvanced;
  }

 private:
  std::uint64_t mLastSessionTick = 0;
  int mUnchangedTickCount = 0;
};

}  // namespace LIPC
