// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <cstdint>
#include <random>

namespace host {

/// Faults by chance: which comes, when, and for how long; the same for the same seed, on every
/// system. Pure. Threads: one.
class FaultPlan {
 public:
  enum eFault : std::uint8_t {
    eSilent,          // answers no join and no leave
    eStallHeartbeat,  // the heartbeat stands still
    eHeartbeatBack,   // it goes back once, by 5
    eHoldLock,        // holds the registration lock
    eNoConnect,       // forbids joins
    eNoAudio,         // reads no client's blocks and answers none
  };
  static constexpr unsigned cFaultCount = 6;

  struct Step {
    std::chrono::milliseconds pause;  // 1 to 8 s, before the fault begins
    eFault fault;
    std::chrono::milliseconds duration;  // 0.2 to 6.2 s
  };

  explicit FaultPlan(std::uint64_t seed) : mRandom(seed) {}

  Step next() {
    const std::chrono::milliseconds pause{1000 + upTo(7000)};
    const auto fault = static_cast<eFault>(upTo(cFaultCount));
    return {pause, fault, std::chrono::milliseconds(200 + upTo(6000))};
  }

 private:
  /// Below `limit`. The library's distributions differ from system to system.
  std::int64_t upTo(std::uint64_t limit) { return static_cast<std::int64_t>(mRandom() % limit); }

  std::mt19937_64 mRandom;
};

}  // namespace host
