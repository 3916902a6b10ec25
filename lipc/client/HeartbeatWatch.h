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
  enum class Verdict { eAdvanced, eStalled, eGone, eRestarted };

  /// Unchanged passes after which one more means that the host is gone.
  static constexpr int cToleratedPasses = 10;

  void restart(std::uint64_t tick) {
    mLastSessionTick = tick;
    mUnchangedTickCount = 0;
  }

  Verdict observe(std::uint64_t tick) {
    if (tick < mLastSessionTick) return Verdict::eRestarted;
    if (tick == mLastSessionTick) {
      return mUnchangedTickCount++ >= cToleratedPasses ? Verdict::eGone : Verdict::eStalled;
    }
    restart(tick);
    return Verdict::eAdvanced;
  }

 private:
  std::uint64_t mLastSessionTick = 0;
  int mUnchangedTickCount = 0;
};

}  // namespace LIPC
