// SPDX-License-Identifier: BSL-1.0
#include "lipc/util/Meters.h"

#include <cmath>

#include "lipc/util/Kernels.h"

namespace LIPC {

namespace {

constexpr float cRestingdB = -144.0f;
constexpr float cRestingPeak = 0.0f;

void fill(float* out, unsigned int begin, unsigned int end, float value) {
  for (unsigned int i = begin; i < end; ++i)
    out[i] = value;
}

}  // namespace

void computeVU_RMS(const float* const* channels, unsigned int numChannels, unsigned int numSamples,
                   float* out, unsigned int outCount) noexcept {
  if (numSamples == 0) {
    fill(out, 0, outCount, cRestingdB);
    return;
  }
  const float scale = 1.0f / static_cast<float>(numSamples);
  kernels().sumSquares(channels, numChannels, numSamples, out);
  for (unsigned int c = 0; c < numChannels; ++c) {
    // deliberate: no floor here, a silent channel reads minus infinity and so differs from an
    // output that has no channel.
    out[c] = 10.0f * std::log10(out[c] * scale);
  }
  fill(out, numChannels, outCount, cRestingdB);
}

void computeVU_peak(const float* const* channels, unsigned int numChannels, unsigned int numSamples,
                    float* out, unsigned int outCount) noexcept {
  if (numSamples == 0) {
    fill(out, 0, outCount, cRestingPeak);
    return;
  }
  kernels().largestMagnitudes(channels, numChannels, numSamples, out);
  fill(out, numChannels, outCount, cRestingPeak);
}

}  // namespace LIPC
