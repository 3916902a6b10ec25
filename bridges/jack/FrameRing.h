// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <vector>

#include "lipc/util/RealTime.h"

namespace jack_bridge {

/// Frames on their way from one thread to another, channels side by side. Writes and reads are
/// whole or not at all, and wait for nobody.
///
/// Threads: one writes, one reads.
class FrameRing {
 public:
  /// `capacity` in frames.
  FrameRing(unsigned channels, unsigned capacity)
      : mChannels(channels),
        mCapacity(capacity),
        mSamples(std::size_t{channels} * capacity, 0.0F) {}

  unsigned channels() const noexcept LIPC_NONBLOCKING { return mChannels; }
  /// Frames so far. For the other side's thread these are of a moment ago.
  std::int64_t written() const noexcept LIPC_NONBLOCKING { return mWritten; }
  std::int64_t taken() const noexcept LIPC_NONBLOCKING { return mTaken; }
  unsigned fill() const noexcept LIPC_NONBLOCKING {
    return static_cast<unsigned>(mWritten - mTaken);
  }

  /// Calls sample(channel, index) for each; false, and nothing written, where there is no room.
  template <class Sample>
  bool write(unsigned frames, Sample sample) noexcept LIPC_NONBLOCKING {
    if (mCapacity - fill() < frames) return false;
    const std::int64_t start = mWritten.load(std::memory_order_relaxed);
    for (unsigned i = 0; i < frames; ++i) {
      float* const frame = frameAt(start + i);
      for (unsigned c = 0; c < mChannels; ++c)
        frame[c] = sample(c, i);
    }
    mWritten.store(start + frames, std::memory_order_release);
    return true;
  }

  /// Calls sample(channel, index, value) for each; false, and nothing taken, where there are not as
  /// many.
  template <class Sample>
  bool read(unsigned frames, Sample sample) noexcept LIPC_NONBLOCKING {
    if (fill() < frames) return false;
    const std::int64_t start = mTaken.load(std::memory_order_relaxed);
    for (unsigned i = 0; i < frames; ++i) {
      const float* const frame = frameAt(start + i);
      for (unsigned c = 0; c < mChannels; ++c)
        sample(c, i, frame[c]);
    }
    mTaken.store(start + frames, std::memory_order_release);
    return true;
  }

  /// Forgets what is in it, while nobody writes or reads.
  void clear() { mTaken = mWritten.load(); }
  /// Takes so many frames, or all, without a look at them.
  void skip(unsigned frames) noexcept LIPC_NONBLOCKING {
    mTaken.store(mTaken.load(std::memory_order_relaxed) + std::min(frames, fill()),
                 std::memory_order_release);
  }

 private:
  float* frameAt(std::int64_t frame) noexcept LIPC_NONBLOCKING {
    return mSamples.data() + static_cast<std::size_t>(frame % mCapacity) * mChannels;
  }

  const unsigned mChannels;
  const unsigned mCapacity;
  std::vector<float> mSamples;
  std::atomic<std::int64_t> mWritten{0};
  std::atomic<std::int64_t> mTaken{0};
};

}  // namespace jack_bridge
