#pragma once

#include <chrono>
#include <thread>

namespace support {

/// Looks every 5 ms until `condition` holds or the time is over; whether it held.
template <class Condition>
bool eventually(std::chrono::milliseconds limit, Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace support
