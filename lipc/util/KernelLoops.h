// SPDX-License-Identifier: BSL-1.0
#pragma once

// The text of which all tables of Kernels.h are compiled, each by a source file that includes it
// once. All of it is in an unnamed namespace, and it calls no inline function of another header: of
// several copies the linker would keep one, and that might be one for AVX-512.

#include <cstddef>

#include "lipc/util/Kernels.h"

namespace LIPC {
namespace {

#if defined(__AVX512F__)
constexpr std::size_t cLanes = 16;
#elif defined(__AVX2__)
constexpr std::size_t cLanes = 8;
#else
constexpr std::size_t cLanes = 4;
#endif
using Lanes = float __attribute__((vector_size(cLanes * sizeof(float))));
using Four = float __attribute__((vector_size(4 * sizeof(float))));

template <typename V>
inline V load(const float* from) {
  V v;
  __builtin_memcpy(&v, from, sizeof v);
  return v;
}

template <typename V>
inline void store(float* to, V v) {
  __builtin_memcpy(to, &v, sizeof v);
}

// How many floats lie before the next address that is a multiple of `count` of them.
inline std::size_t before(const float* address, std::size_t count) {
  return -(reinterpret_cast<std::size_t>(address) / sizeof(float)) % count;
}

// Calls `element` for every index: with Lanes, four of them at a time, and with less of them at
// both ends. A longer `out` is stored to in whole Lanes of memory, since those that lie across two
// lines of the cache take twice the time.
template <typename Element>
inline void forEach(const float* out, std::size_t n, Element element) {
  std::size_t i = 0;
  if (n >= 8 * cLanes) {
    for (const std::size_t end = before(out, 4); i < end; ++i)
      element.template operator()<float>(i);
    for (const std::size_t end = i + before(out + i, cLanes); i < end; i += 4)
      element.template operator()<Four>(i);
  }
  for (; n - i >= 4 * cLanes; i += 4 * cLanes) {
    element.template operator()<Lanes>(i);
    element.template operator()<Lanes>(i + cLanes);
    element.template operator()<Lanes>(i + 2 * cLanes);
    element.template operator()<Lanes>(i + 3 * cLanes);
  }
  for (; n - i >= cLanes; i += cLanes)
    element.template operator()<Lanes>(i);
  for (; n - i >= 4; i += 4)
    element.template operator()<Four>(i);
  for (; i < n; ++i)
    element.template operator()<float>(i);
}

void add(const float* a, const float* b, float* out, unsigned int n) {
  forEach(out, n,
          [=]<typename V>(std::size_t i) { store(out + i, load<V>(a + i) + load<V>(b + i)); });
}

void addConstant(const float* a, float c, float* out, unsigned int n) {
  forEach(out, n, [=]<typename V>(std::size_t i) { store(out + i, load<V>(a + i) + c); });
}

void subtract(const float* a, const float* b, float* out, unsigned int n) {
  forEach(out, n,
          [=]<typename V>(std::size_t i) { store(out + i, load<V>(a + i) - load<V>(b + i)); });
}

void multiply(const float* a, const float* b, float* out, unsigned int n) {
  forEach(out, n,
          [=]<typename V>(std::size_t i) { store(out + i, load<V>(a + i) * load<V>(b + i)); });
}

void scale(const float* a, float c, float* out, unsigned int n) {
  forEach(out, n, [=]<typename V>(std::size_t i) { store(out + i, load<V>(a + i) * c); });
}

void addProduct(const float* a, const float* b, float* out, unsigned int n) {
  forEach(out, n, [=]<typename V>(std::size_t i) {
    store(out + i, load<V>(out + i) + load<V>(a + i) * load<V>(b + i));
  });
}

void addScaled(const float* a, float c, float* out, unsigned int n) {
  forEach(out, n, [=]<typename V>(std::size_t i) {
    store(out + i, load<V>(out + i) + load<V>(a + i) * c);
  });
}

void addSubtract(float* a, float* b, unsigned int n) {
  forEach(a, n, [=]<typename V>(std::size_t i) {
    const V first = load<V>(a + i);
    const V second = load<V>(b + i);
    store(b + i, first - second);
    store(a + i, first + second);  // last, so that it is the result where a is b
  });
}

// The sums of squares: vectors of four samples of a channel, or of two channels, become vectors of
// one sample of each of cRow channels.
#ifdef __AVX2__
constexpr std::size_t cRow = 8;
using Row = float __attribute__((vector_size(cRow * sizeof(float))));
// The lower half of a vector is four samples of one channel, the upper half of the fourth after it.
inline Row samplesOf(const float* const* channels, std::size_t i) {
  return __builtin_shufflevector(load<Four>(channels[0] + i), load<Four>(channels[4] + i), 0, 1, 2,
                                 3, 4, 5, 6, 7);
}
#define LIPC_LOW_PAIRS(v, w) __builtin_shufflevector(v, w, 0, 8, 1, 9, 4, 12, 5, 13)
#define LIPC_HIGH_PAIRS(v, w) __builtin_shufflevector(v, w, 2, 10, 3, 11, 6, 14, 7, 15)
#define LIPC_LOW_HALVES(v, w) __builtin_shufflevector(v, w, 0, 1, 8, 9, 4, 5, 12, 13)
#define LIPC_HIGH_HALVES(v, w) __builtin_shufflevector(v, w, 2, 3, 10, 11, 6, 7, 14, 15)
#else
constexpr std::size_t cRow = 4;
using Row = Four;
inline Row samplesOf(const float* const* channels, std::size_t i) {
  return load<Row>(channels[0] + i);
}
#define LIPC_LOW_PAIRS(v, w) __builtin_shufflevector(v, w, 0, 4, 1, 5)
#define LIPC_HIGH_PAIRS(v, w) __builtin_shufflevector(v, w, 2, 6, 3, 7)
#define LIPC_LOW_HALVES(v, w) __builtin_shufflevector(v, w, 0, 1, 4, 5)
#define LIPC_HIGH_HALVES(v, w) __builtin_shufflevector(v, w, 2, 3, 6, 7)
#endif

// Adds the squares of four samples from `i` on to the sums of cRow channels, one after the other.
inline Row addSquaresOfFour(Row sum, const float* const* channels, std::size_t i) {
  const Row v0 = samplesOf(channels, i), v1 = samplesOf(channels + 1, i);
  const Row v2 = samplesOf(channels + 2, i), v3 = samplesOf(channels + 3, i);
  const Row low01 = LIPC_LOW_PAIRS(v0, v1), high01 = LIPC_HIGH_PAIRS(v0, v1);
  const Row low23 = LIPC_LOW_PAIRS(v2, v3), high23 = LIPC_HIGH_PAIRS(v2, v3);
  const Row first = LIPC_LOW_HALVES(low01, low23), second = LIPC_HIGH_HALVES(low01, low23);
  const Row third = LIPC_LOW_HALVES(high01, high23), fourth = LIPC_HIGH_HALVES(high01, high23);
  return sum + first * first + second * second + third * third + fourth * fourth;
}

// Goes on with a sum from sample `i` to the end.
inline float sumOfOne(const float* samples, std::size_t n, std::size_t i, float sum) {
  for (; i < n; ++i)
    sum += samples[i] * samples[i];
  return sum;
}

// The sums of `cVectors` times cRow channels side by side: each is one chain of dependent
// additions, whose waiting the others fill. `count` of them are wanted; beyond, the last is taken
// again.
template <std::size_t cVectors>
inline void sumSideBySide(const float* const* wanted, std::size_t count, std::size_t n,
                          float* out) {
  constexpr std::size_t cChannels = cVectors * cRow;
  const float* channels[cChannels];
  for (std::size_t c = 0; c < cChannels; ++c)
    channels[c] = wanted[c < count ? c : count - 1];
  Row sums[cVectors] = {};
  std::size_t i = 0;
  for (; n - i >= 4; i += 4) {
    for (std::size_t v = 0; v < cVectors; ++v)
      sums[v] = addSquaresOfFour(sums[v], channels + v * cRow, i);
  }
  for (std::size_t c = 0; c < cChannels && c < count; ++c) {
    out[c] = sumOfOne(channels[c], n, i, sums[c / cRow][c % cRow]);
  }
}

void sumSquares(const float* const* channels, unsigned int numChannels, unsigned int n,
                float* out) {
  for (std::size_t c = 0; c < numChannels; c += 2 * cRow) {
    const std::size_t left = numChannels - c;
    if (left == 1)
      out[c] = sumOfOne(channels[c], n, 0, 0.0f);
    else if (left > cRow)
      sumSideBySide<2>(channels + c, left, n, out + c);
    else
      sumSideBySide<1>(channels + c, left, n, out + c);
  }
}

#undef LIPC_LOW_PAIRS
#undef LIPC_HIGH_PAIRS
#undef LIPC_LOW_HALVES
#undef LIPC_HIGH_HALVES

template <typename V>
inline V larger(V a, V b) {
  return a > b ? a : b;
}

inline Row magnitudes(const float* samples) {
  using Bits = int __attribute__((vector_size(sizeof(Row))));
  return reinterpret_cast<Row>(reinterpret_cast<Bits>(load<Row>(samples)) & 0x7fffffff);
}

// All lanes start at sample 0: a NaN there stays in all of them, and elsewhere, being larger than
// nothing, is passed over, as one sample after the other would do it. Magnitudes, because that of
// the smallest or the largest is the largest of the magnitudes.
inline float largestMagnitude(const float* samples, std::size_t n) {
  const float first = __builtin_fabsf(samples[0]);
  Row a = first - Row{}, b = a, c = a, d = a;  // less 0 is free; 0 more is not, for -0
  std::size_t i = 0;
  for (const std::size_t end = n / (4 * cRow) * (4 * cRow); i < end; i += 4 * cRow) {
    a = larger(magnitudes(samples + i), a);
    b = larger(magnitudes(samples + i + cRow), b);
    c = larger(magnitudes(samples + i + 2 * cRow), c);
    d = larger(magnitudes(samples + i + 3 * cRow), d);
  }
  for (const std::size_t end = n / cRow * cRow; i < end; i += cRow)
    a = larger(magnitudes(samples + i), a);
  a = larger(larger(a, b), larger(c, d));
#ifdef __AVX2__
  Four four =
      larger(__builtin_shufflevector(a, a, 0, 1, 2, 3), __builtin_shufflevector(a, a, 4, 5, 6, 7));
#else
  Four four = a;
#endif
  four = larger(four, __builtin_shufflevector(four, four, 2, 3, 0, 1));
  float result = larger(four[0], four[1]);
  for (; i < n; ++i)
    result = larger(__builtin_fabsf(samples[i]), result);
  return result;
}

void largestMagnitudes(const float* const* channels, unsigned int numChannels, unsigned int n,
                       float* out) {
  for (unsigned int c = 0; c < numChannels; ++c)
    out[c] = largestMagnitude(channels[c], n);
}

constexpr Kernels cKernels = {add,        addConstant, subtract,    multiply,   scale,
                              addProduct, addScaled,   addSubtract, sumSquares, largestMagnitudes};

}  // namespace
}  // namespace LIPC
