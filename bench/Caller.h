// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <vector>

#include "lipc/realtime/SHMSlices.h"

namespace bench {

inline constexpr int cParameters = LIPC::SHMSliceBuffer::cParameterCount;
/// What every sample holds, on both sides of both exchanges: silence is told from an answer.
inline constexpr float cSample = 0.5F;

/// The buffers of an audio callback, each channel's allocated by itself. Both sides of a comparison
/// trade with the same ones, so that neither has them warmer in the cache.
struct Caller {
  Caller(unsigned channelCount, int numSamples) : samples(numSamples), memory(channelCount) {
    refill();
  }
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;

  void refill() {
    channels.clear();
    for (std::vector<float>& channel : memory) {
      channel.assign(static_cast<std::size_t>(samples), cSample);
      channels.push_back(channel.data());
    }
    parameters.assign(cParameters, cSample);
    returned.assign(cParameters, 0.0F);
  }
  /// True when every channel holds an answer from first to last, and so do the parameters.
  bool hasAnswer() const {
    for (const std::vector<float>& channel : memory)
      if (channel.front() != cSample || channel.back() != cSample) return false;
    return returned.front() == cSample && returned.back() == cSample;
  }

  int samples;
  std::vector<std::vector<float>> memory;
  std::vector<float*> channels;
  std::vector<float> parameters;
  std::vector<float> returned;
};

/// The slices of a client's two rings, in the order in which the client takes them, at the
/// addresses at which the client has them.
struct Slices {
  static constexpr int cCount = LIPC::SHMSlices::cSliceCount;

  LIPC::SHMSliceBuffer& send(std::int64_t block) const { return *sends[block % cCount]; }
  LIPC::SHMSliceBuffer& returned(std::int64_t block) const { return *returns[block % cCount]; }

  LIPC::SHMSliceBuffer* sends[cCount] = {};
  LIPC::SHMSliceBuffer* returns[cCount] = {};
};

}  // namespace bench
