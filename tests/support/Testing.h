// SPDX-License-Identifier: BSL-1.0
#pragma once

// What most tests need of the standard library, of the test framework and of waiting. The framework
// brings the containers, strings and their streams.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

namespace support {

using namespace std::chrono_literals;

/// Looks without a pause for a millisecond, then every 5 ms, until `condition` holds or the time is
/// over; whether it held.
template <class Condition>
bool eventually(std::chrono::milliseconds limit, Condition condition) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  while (!condition()) {
    const auto waited = Clock::now() - start;
    if (waited >= limit) return false;
    std::this_thread::sleep_for(waited < 1ms ? 0ms : 5ms);
  }
  return true;
}

}  // namespace support
