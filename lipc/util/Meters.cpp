// SPDX-License-Identifier: BSL-1.0
#include "lipc/util/Meters.h"

#include <cmath>

#include "lipc/util/VectOp.h"

namespace LIPC {

namespace {

constexpr float cRestingdB = -144.0f;
constexpr float cRestingPeak = 0.0f;

void fill(float* out, unsigned int begin, unsigned int end, float value) {
  for (unsigned int i = begin; i < end; ++i)
    out[i] = value;
}

float largestMagnitude(const float* samples, unsigned int numSamples) {
  float smallest = samples[0];
  float largest = samples[0];
  for (unsigned int i = 1; i < numSamples; ++i) {
    smallest = samples[i] < smallest ? samples[i] : smallest;
    largest = samples[i] > largest ? samples[i] : largest;
  }
  const float below = std::fabs(smallest);
  const float above = std::fabs(largest);
  return below > above ? below : above;
}

}  // namespace

void computeVU_RMS(const float* const* channels, unsigned int numChannels, unsigned int numSamples,
                   float* out, unsigned int outCount) noexcept {
  if (numSamples == 0) {
    fill(out, 0, outCount, cRestingdB);
    return;
  }
  const float scale = 1.0f / static_cast<float>(numSamples);
  for (unsigned int c = 0; c < numChannels; ++c) {
    // deliberate: no floor here, a silent channel reads minus infinity and so differs from an
    // output that has no channel.
    out[c] = 10.0f * std::log10(VectOp::norm_L2_Sqr(channels[c], numSamples) * scale);
  }
  fill(out, numChannels, outCount, cRestingdB);
}

void computeVU_peak(const float* const* channels, unsigned int numChannels, unsigned int numSamples,
                    float* out, unsigned int outCount) noexcept {
  if (numSamples == 0) {
    fill(out, 0, outCount, cRestingPeak);
    return;
  }
  for (unsigned int c = 0; c < numChannels; ++c) {
    out[c] = largestMagnitude(channels[c], numSamples);
  }
  fill(out, numChannels, outCount, cRestingPeak);
}

}  // namespace LIPC
