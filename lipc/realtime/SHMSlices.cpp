// SPDX-License-Identifier: BSL-1.0
#include "lipc/realtime/SHMSlices.h"

#include <cstring>

#include "lipc/util/SharedWord.h"

namespace LIPC {
namespace {

constexpr std::uint64_t cTimeStampTolerance = 2;

constexpr int offsetOfSlice(int i) {
  return static_cast<int>(offsetof(SHMSlices, slices)) +
         static_cast<int>(sizeof(SHMSliceBuffer)) * i;
}

bool matches(std::int64_t stamp, std::int64_t wanted) noexcept {
  // From the lowest stamp that matches. Unsigned, so that a foreign stamp at the end of the range
  // does not overflow. One comparison, for this is most of a lookup.
  const auto above =
      static_cast<std::uint64_t>(stamp) - static_cast<std::uint64_t>(wanted) + cTimeStampTolerance;
  return above <= 2 * cTimeStampTolerance && above % cTimeStampTolerance == 0;
}

}  // namespace

void SHMChannel::clear() noexcept {
  std::memset(samples, 0, sizeof samples);
}

SHMSliceBuffer::SHMSliceBuffer()
    : clientType(0), timeStamp(0), channelCount(0), sampleCount(0), ready(0), samplesOffset(0) {
  clientID[0] = '\0';
  terminator = '\0';
  clearParameters();
}

void SHMSliceBuffer::configure(unsigned short channels, int offset) {
  channelCount = channels;
  samplesOffset = offset;
}

void SHMSliceBuffer::clearSamples() noexcept {
  for (unsigned short c = 0; c < channelCount; ++c)
    getChannel(c)->clear();
}

void SHMSliceBuffer::clearParameters() noexcept {
  std::memset(parameters, 0, sizeof parameters);
}

SHMChannel* SHMSliceBuffer::getChannel(unsigned short c) noexcept {
  return reinterpret_cast<SHMChannel*>(reinterpret_cast<char*>(this) + samplesOffset +
                                       c * sizeof(SHMChannel));
}

const SHMChannel* SHMSliceBuffer::getChannel(unsigned short c) const noexcept {
  return reinterpret_cast<const SHMChannel*>(reinterpret_cast<const char*>(this) + samplesOffset +
                                             c * sizeof(SHMChannel));
}

float* SHMSliceBuffer::getChannelSamples(unsigned short c) noexcept {
  return reinterpret_cast<float*>(getChannel(c));
}

const float* SHMSliceBuffer::getChannelSamples(unsigned short c) const noexcept {
  return reinterpret_cast<const float*>(getChannel(c));
}

SHMSlices::SHMSlices(const char*) : currentSlice(0), reserved(0) {}

long long SHMSlices::sizeOfStruct(unsigned short channels) {
  return static_cast<long long>(sizeof(SHMSlices)) +
         static_cast<long long>(cSliceCount * sizeof(SHMChannel)) * channels;
}

void SHMSlices::allocateChannelCount(unsigned short n) {
  const int bytesPerSlice = n * static_cast<int>(sizeof(SHMChannel));
  for (int i = 0; i < cSliceCount; ++i) {
    const int samples = static_cast<int>(sizeof(SHMSlices)) + i * bytesPerSlice;
    slices[i].configure(n, samples - offsetOfSlice(i));
    slices[i].clearSamples();
  }
}

SHMSliceBuffer* SHMSlices::getSliceWithTime(long long t) noexcept {
  int index = currentIndex();
  for (int visited = 0; visited < cSliceCount; ++visited) {
    if (matches(loadAcquire(slices[index].timeStamp), t)) return &slices[index];
    index = index == 0 ? cSliceCount - 1 : index - 1;
  }
  return nullptr;
}

void SHMSlices::clear() noexcept {
  for (SHMSliceBuffer& slice : slices) {
    slice.clearParameters();
    slice.clearSamples();
  }
}

}  // namespace LIPC
