// SPDX-License-Identifier: BSL-1.0

// Compiled with -mavx2.
#include "bench/HandKernels.h"

#include <cmath>

#ifdef __AVX2__
#include <immintrin.h>
#endif

namespace bench::hand {

// clang-format off
#define LOOP(name, result) \
  void name([[maybe_unused]] const float* __restrict a, [[maybe_unused]] const float* __restrict b, \
            float* __restrict io, unsigned n) { \
    for (unsigned i = 0; i < n; ++i) io[i] = result; \
  }
LOOP(copy,             a[i])
LOOP(zero,             0.0F)
LOOP(add,              a[i] + b[i])
LOOP(addInPlace,       io[i] + a[i])
LOOP(addConstant,      a[i] + cConstant)
LOOP(addConstantInPlace, io[i] + cConstant)
LOOP(subtract,         a[i] - b[i])
LOOP(subtractInPlace,  io[i] - a[i])
LOOP(multiply,         a[i] * b[i])
LOOP(multiplyInPlace,  io[i] * a[i])
LOOP(multiplyConstant, a[i] * cConstant)
LOOP(multiplyConstantInPlace, io[i] * cConstant)
LOOP(addProduct,       io[i] + a[i] * b[i])
LOOP(addProductConstant, io[i] + a[i] * cConstant)
#undef LOOP
// clang-format on

void addSubtract(float* __restrict a, float* __restrict io, unsigned n) {
  for (unsigned i = 0; i < n; ++i) {
    const float sum = a[i] + io[i];
    io[i] = a[i] - io[i];
    a[i] = sum;
  }
}

void rms(const float* const* channels, unsigned numChannels, unsigned n, float* out) {
  const float scale = 1.0F / static_cast<float>(n);
  for (unsigned c = 0; c < numChannels; c += 4) {
    const float *w = channels[c], *x = channels[c + 1], *y = channels[c + 2], *z = channels[c + 3];
    float sums[4] = {};
    for (unsigned i = 0; i < n; ++i) {
      sums[0] += w[i] * w[i];
      sums[1] += x[i] * x[i];
      sums[2] += y[i] * y[i];
      sums[3] += z[i] * z[i];
    }
    for (unsigned k = 0; k < 4; ++k)
      out[c + k] = 10.0F * std::log10(sums[k] * scale);
  }
}

void peak(const float* const* channels, unsigned numChannels, unsigned n, float* out) {
  for (unsigned c = 0; c < numChannels; ++c) {
    const float* const samples = channels[c];
#ifdef __AVX2__
    const __m256 magnitude = _mm256_castsi256_ps(_mm256_set1_epi32(0x7fffffff));
    __m256 m[4] = {};
    for (unsigned i = 0; i < n; i += 32) {
      for (unsigned k = 0; k < 4; ++k)
        m[k] = _mm256_max_ps(m[k], _mm256_and_ps(magnitude, _mm256_loadu_ps(samples + i + 8 * k)));
    }
    const __m256 all = _mm256_max_ps(_mm256_max_ps(m[0], m[1]), _mm256_max_ps(m[2], m[3]));
    __m128 four = _mm_max_ps(_mm256_castps256_ps128(all), _mm256_extractf128_ps(all, 1));
    four = _mm_max_ps(four, _mm_movehl_ps(four, four));
    out[c] = _mm_cvtss_f32(_mm_max_ss(four, _mm_shuffle_ps(four, four, 1)));
#else
    out[c] = 0.0F;
    for (unsigned i = 0; i < n; ++i)
      out[c] = std::fabs(samples[i]) > out[c] ? std::fabs(samples[i]) : out[c];
#endif
  }
}

}  // namespace bench::hand
