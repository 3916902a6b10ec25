#pragma once

#include <chrono>
#include <thread>

namespace support {

/// Looks without a pause for a millisecond, then every 5 ms, until `condition` holds or the time is
/// over; whether it held.
template <class Condition>
bool eventually(std::chrono::milliseconds limit, Condition condition) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  while (!condition()) {
    const auto waited = Clock::now() - start;
    if (waited >= limit) return false;
    std::this_thread::sleep_for(
        std::chrono::milliseconds(waited < std::chrono::milliseconds(1) ? 0 : 5));
  }
  return true;
}

}  // namespace support
