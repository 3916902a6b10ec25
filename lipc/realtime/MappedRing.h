// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <algorithm>
#include <cstddef>

#include "lipc/realtime/SHMSlices.h"
#include "lipc/util/RealTime.h"
#include "lipc/util/SharedWord.h"

namespace LIPC {

/// The samples of one slice, as far as they can be reached.
struct SliceSamples {
  float* first = nullptr;
  unsigned channelCount = 0;

  /// `c` below `channelCount`.
  float* channel(unsigned c) const noexcept {
    return first + std::size_t{c} * SHMChannel::cSampleCount;
  }
};

/// A ring of slices as this process has mapped it. What the ring says of its own channels and
/// offsets is another process's word and believed only as far as the mapping reaches; an index that
/// is none is taken modulo six. A spoilt ring yields fewer channels or none, never an address
/// outside.
///
/// Threads: one at a time on each side; the audio thread on the client's.
class MappedRing {
 public:
  MappedRing() = default;
  /// `ring` may be null; `mappedBytes`: the segment's size as the system has it.
  MappedRing(SHMSlices* ring, std::size_t mappedBytes) : mRing(ring), mBytes(mappedBytes) {}

  bool isMapped() const noexcept { return mRing != nullptr; }
  /// The newest slice stamped `t`, within the tolerance of exactly two samples; null when none is.
  SHMSliceBuffer* find(long long t) const noexcept LIPC_NONBLOCKING;
  /// The next slice, made the newest and stamped `t`. For the ring's client only.
  SHMSliceBuffer* advance(long long t) noexcept LIPC_NONBLOCKING;
  /// The newest slice's stamp.
  long long newestStamp() const noexcept LIPC_NONBLOCKING;
  /// Channels that can be reached in the first slice, for which the ring was made.
  unsigned channelCount() const noexcept LIPC_NONBLOCKING;
  /// The samples of a slice of this ring.
  SliceSamples samplesOf(SHMSliceBuffer& slice) const noexcept LIPC_NONBLOCKING;
  /// Zeroes the parameters and samples of all slices, as SHMSlices::clear does.
  void clear() noexcept LIPC_NONBLOCKING;

 private:
  SHMSlices* mRing = nullptr;
  std::size_t mBytes = 0;
};

// Inline: each is a few instructions, several times a block.

inline SHMSliceBuffer* MappedRing::find(long long t) const noexcept {
  return isMapped() ? mRing->getSliceWithTime(t) : nullptr;
}

inline SHMSliceBuffer* MappedRing::advance(long long t) noexcept {
  if (!isMapped()) return nullptr;
  const int next = (mRing->currentIndex() + 1) % SHMSlices::cSliceCount;
  // The index first, then the stamp.
  storeRelease(mRing->currentSlice, std::int32_t{next});
  SHMSliceBuffer* slice = mRing->getSliceBuffer(next);
  storeRelease(slice->timeStamp, std::int64_t{t});
  fenceWrites();  // the new block comes after its stamp
  return slice;
}

inline long long MappedRing::newestStamp() const noexcept {
  return isMapped() ? loadAcquire(mRing->getSliceBuffer(mRing->currentIndex())->timeStamp) : 0;
}

inline SliceSamples MappedRing::samplesOf(SHMSliceBuffer& slice) const noexcept {
  constexpr std::ptrdiff_t head = sizeof(SHMSlices);
  char* const base = reinterpret_cast<char*>(mRing);
  // Read once: what is checked is what is used.
  const std::ptrdiff_t offset =
      reinterpret_cast<char*>(&slice) - base + loadRelaxed(slice.samplesOffset);
  const auto bytes = static_cast<std::ptrdiff_t>(mBytes);
  if (offset < head || offset > bytes || offset % std::ptrdiff_t{alignof(float)} != 0) return {};
  const auto room = static_cast<std::size_t>(bytes - offset) / sizeof(SHMChannel);
  const auto count = std::min<std::size_t>(loadRelaxed(slice.channelCount), room);
  return {reinterpret_cast<float*>(base + offset), static_cast<unsigned>(count)};
}

inline unsigned MappedRing::channelCount() const noexcept {
  return isMapped() ? samplesOf(*mRing->getSliceBuffer(0)).channelCount : 0;
}

}  // namespace LIPC
