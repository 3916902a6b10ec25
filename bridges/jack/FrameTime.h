// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>

#include "lipc/util/RealTime.h"

namespace jack_bridge {

/// JACK's frame time as 64 bits. JACK has 32, which come round after 24.8 hours at 48 kHz.
///
/// All bridges on one server have to arrive at the same number, whenever they start: also one that
/// starts before the 32 bits came round and one that starts after it. Both take, of all numbers
/// with these 32 bits, the one nearest to something that both know:
///
/// - the stamp that another bridge on this server has sent last, where there is one in the session;
/// - else JACK's clock of microseconds, which has 64 bits and is the same for all clients of the
///   machine, times the rate. From one day to the next a card's frames stray from it by seconds, a
///   step of the 32 bits is half a day in either direction.
///
/// From the first period on each number is the nearest to the one before.
///
/// Threads: one at a time.
class FrameTime {
 public:
  /// Of the numbers with these low 32 bits the nearest.
  static std::int64_t nearest(std::uint32_t frames, std::int64_t to) noexcept LIPC_NONBLOCKING {
    return to + static_cast<std::int32_t>(frames - static_cast<std::uint32_t>(to));
  }

  FrameTime() = default;
  /// `rate`: frames per second. `stampOfOther`: the last that another bridge on this server sent, 0
  /// for none. One that is more than cFarSeconds away is of before the server's last start.
  FrameTime(int rate, std::int64_t stampOfOther) : mRate(rate), mOther(stampOfOther) {}

  std::int64_t widen(std::uint32_t frames, std::uint64_t microseconds) noexcept LIPC_NONBLOCKING {
    if (!mHasLast) {
      mLast = first(frames, microseconds);
      mHasLast = true;
    }
    return mLast = nearest(frames, mLast);
  }

 private:
  static constexpr std::int64_t cFarSeconds = 10;

  std::int64_t first(std::uint32_t frames,
                     std::uint64_t microseconds) const noexcept LIPC_NONBLOCKING {
    const std::int64_t besideOther = nearest(frames, mOther);
    const std::int64_t distance =
        besideOther > mOther ? besideOther - mOther : mOther - besideOther;
    if (mOther != 0 && distance <= cFarSeconds * mRate) return besideOther;
    const auto seconds = static_cast<std::int64_t>(microseconds / 1'000'000);
    const auto rest = static_cast<std::int64_t>(microseconds % 1'000'000);
    return nearest(frames, seconds * mRate + rest * mRate / 1'000'000);
  }

  std::int64_t mRate = 48000;
  std::int64_t mOther = 0;
  std::int64_t mLast = 0;
  bool mHasLast = false;
};

}  // namespace jack_bridge
