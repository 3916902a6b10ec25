// SPDX-License-Identifier: BSL-1.0
#include "lipc/util/Levels.h"

#include <cmath>
#include <cstdint>

namespace LIPC {

namespace {

constexpr float cFloordB = -144.0f;
constexpr float cFloorAmplitude = 6.309576e-8f;  // 10^-7.2 as single precision computes it

constexpr unsigned int cLastPTGainStep = 1023;
constexpr float cPTGainUnity = 0.75f;
constexpr float cPTGainMaxdB = 12.0f;

float parameterOfStep(float step) {
  return step / static_cast<float>(cLastPTGainStep);
}

}  // namespace

float amplitude2db(float x) noexcept {
  return x > cFloorAmplitude ? 20.0f * std::log10(x) : cFloordB;
}

float db2amplitude(float db) noexcept {
  return db > cFloordB ? std::pow(10.0f, db / 20.0f) : 0.0f;
}

float db2param(float db, const float* range) noexcept {
  return (db - range[0]) * (1.0f / (range[1] - range[0]));
}

float param2db(float p, const float* range) noexcept {
  return (range[1] - range[0]) * p + range[0];
}

float linearRescale(float x, const float* from, const float* to) noexcept {
  return (x - from[0]) * ((to[1] - to[0]) / (from[1] - from[0])) + to[0];
}

float PTgainParameterTodB(float p) noexcept {
  if (!(p > 0.0f)) return cFloordB;
  if (p > 1.0f) return cPTGainMaxdB;
  if (p == cPTGainUnity) return 0.0f;

  const float x = p * static_cast<float>(cLastPTGainStep);
  const auto step = static_cast<unsigned int>(x);
  const float low = scPT11GainTodB[step];
  // deliberate: the stretch between the last two steps is flat, so the parameter stays at +11.95 dB
  // until it reaches 1.
  if (step >= cLastPTGainStep - 1) return low;
  return low + (scPT11GainTodB[step + 1] - low) * (x - static_cast<float>(step));
}

float dBToPTGainParameter(float db) noexcept {
  if (db <= cFloordB) return 0.0f;
  // deliberate: unity is 0.75, not its step's 767 / 1023, so that 0 dB survives the way there and
  // back exactly.
  if (db == 0.0f) return cPTGainUnity;

  // Ends at the last step whose value is below db; a step's own value is always met as a probe.
  unsigned int step = 0;
  for (unsigned int width = 512; width != 0; width /= 2) {
    const unsigned int probe = step + width;
    if (db == scPT11GainTodB[probe]) return parameterOfStep(static_cast<float>(probe));
    if (db > scPT11GainTodB[probe]) step = probe;
  }
  if (step >= cLastPTGainStep) return 1.0f;
  const float low = scPT11GainTodB[step];
  return parameterOfStep(static_cast<float>(step) + (db - low) / (scPT11GainTodB[step + 1] - low));
}

long round(float x) noexcept {
  return std::lround(x);
}

bool toBool(float x) noexcept {
  // deliberate: only the low 32 bits of the whole number count, as where a switch travels as a
  // 32-bit integer.
  return static_cast<std::int32_t>(LIPC::round(x)) != 0;
}

}  // namespace LIPC
