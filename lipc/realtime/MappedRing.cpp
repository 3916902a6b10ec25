#include "lipc/realtime/MappedRing.h"

#include <algorithm>
#include <cstring>

#include "lipc/util/SharedWord.h"

namespace LIPC {

SHMSliceBuffer* MappedRing::find(long long t) const noexcept {
  return isMapped() ? mRing->getSliceWithTime(t) : nullptr;
}

SHMSliceBuffer* MappedRing::advance(long long t) noexcept {
  if (!isMapped()) return nullptr;
  const int next = (mRing->currentIndex() + 1) % SHMSlices::cSliceCount;
  // The index first, then the stamp.
  storeRelease(mRing->currentSlice, std::int32_t{next});
  SHMSliceBuffer* slice = mRing->getSliceBuffer(next);
  storeRelease(slice->timeStamp, std::int64_t{t});
  return slice;
}

long long MappedRing::newestStamp() const noexcept {
  return isMapped() ? loadAcquire(mRing->getSliceBuffer(mRing->currentIndex())->timeStamp) : 0;
}

SliceSamples MappedRing::samplesOf(SHMSliceBuffer& slice) const noexcept {
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

void MappedRing::clear() noexcept {
  if (!isMapped()) return;
  for (SHMSliceBuffer& slice : mRing->slices) {
    slice.clearParameters();
    const SliceSamples samples = samplesOf(slice);
    if (samples.channelCount == 0) continue;
    std::memset(samples.first, 0, samples.channelCount * sizeof(SHMChannel));
  }
}

}  // namespace LIPC
