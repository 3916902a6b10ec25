// SPDX-License-Identifier: BSL-1.0
#include <bit>
#include <cstring>
#include <numeric>
#include <random>

#include "lipc/util/Kernels.h"
#include "lipc/util/Meters.h"
#include "lipc/util/VectOp.h"
#include "tests/support/Testing.h"

namespace {

using LIPC::VectOp;
using Floats = std::vector<float>;

constexpr float cGuard = 777.0f;
constexpr float C = -1.25f;

// An operation that writes its result to c, and what it makes of one element of each block.
struct Case {
  const char* name;
  void (*operation)(const float* a, const float* b, float* c, unsigned n);
  float (*element)(float a, float b, float c);
};

// clang-format off
#define CASE(name, call, result) \
  {#name, [](const float* a, const float* b, float* c, unsigned n) { (void)a; (void)b; VectOp::name call; }, \
   [](float a, float b, float c) { (void)a; (void)b; (void)c; return result; }}
const Case sCases[] = {
  CASE(zero,         (c, n),       0.0f),      CASE(copy,         (a, c, n),    a),
  CASE(add,          (a, b, c, n), a + b),     CASE(add_I,        (a, c, n),    c + a),
  CASE(add_C,        (a, c, C, n), a + C),     CASE(add_C_I,      (c, C, n),    c + C),
  CASE(subtract,     (a, b, c, n), a - b),     CASE(subtract_I,   (a, c, n),    c - a),
  CASE(multiply,     (a, b, c, n), a * b),     CASE(multiply_I,   (a, c, n),    c * a),
  CASE(multiply_C,   (a, c, C, n), a * C),     CASE(multiply_C_I, (c, C, n),    c * C),
  CASE(addProduct,   (a, b, c, n), c + a * b), CASE(addProduct_C, (a, c, C, n), c + a * C),
};
// clang-format on

/// Random values, one in `specialIn` of them special. The NaN is the one that the processor makes
/// itself: of two different ones either may be the result.
Floats mixed(std::size_t count, unsigned specialIn = 6) {
  static std::mt19937 sRandom(1);
  const float special[] = {std::bit_cast<float>(0xffc00000u),
                           INFINITY,
                           -INFINITY,
                           -0.0f,
                           0.0f,
                           std::numeric_limits<float>::max(),
                           std::numeric_limits<float>::denorm_min()};
  Floats values(count);
  for (float& value : values)
    value = sRandom() % specialIn == 0 ? special[sRandom() % std::size(special)]
                                       : std::ldexp(static_cast<float>(sRandom()), -31) - 1.0f;
  return values;
}

bool haveSameBits(const Floats& a, const Floats& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

/// Calls `test` with each table of kernels that this processor can run in use.
template <typename Test>
void withEachTable(Test test) {
  const LIPC::Kernels* const chosen = LIPC::sKernels;
  for (const auto* table : {&LIPC::cPlainKernels, LIPC::avx2Kernels(), LIPC::avx512Kernels()}) {
    if (table == nullptr) continue;
    SCOPED_TRACE(table == &LIPC::cPlainKernels  ? "plain"
                 : table == LIPC::avx2Kernels() ? "AVX2"
                                                : "AVX-512");
    LIPC::sKernels = table;
    test();
  }
  LIPC::sKernels = chosen;
}

TEST(VectOp, EveryOperationEqualsItsElementsBitByBitAtEverySizeAndStart) {
  std::vector<unsigned> sizes = {63, 64, 127, 128, 143, 301};
  for (unsigned n = 0; n <= 36; ++n)
    sizes.push_back(n);
  withEachTable([&] {
    for (const unsigned n : sizes) {
      for (unsigned start = 1; start <= 16; start += n > 36 ? 1 : 5) {  // any float of 64 bytes
        const Floats a = mixed(start + n + 1), b = mixed(a.size()), c = mixed(a.size());
        for (const Case& test : sCases) {
          Floats actual = c, expected = c;
          test.operation(&a[start], &b[start], &actual[start], n);
          for (unsigned i = start; i < start + n; ++i)
            expected[i] = test.element(a[i], b[i], c[i]);
          EXPECT_TRUE(haveSameBits(actual, expected))
              << test.name << " of " << n << " from " << start;
        }
        Floats sum = a, difference = b, expectedSum = a, expectedDifference = b;
        VectOp::addSubtract_I(&sum[start], &difference[start], n);
        for (unsigned i = start; i < start + n; ++i) {
          expectedSum[i] = a[i] + b[i];
          expectedDifference[i] = a[i] - b[i];
        }
        EXPECT_TRUE(haveSameBits(sum, expectedSum) && haveSameBits(difference, expectedDifference))
            << n << " from " << start;
      }
    }
  });
}

TEST(VectOp, AnOperandInPlaceMayBeTheOtherOneToo) {
  withEachTable([] {
    Floats doubled(200, 1.5f), sum = doubled;
    VectOp::add_I(doubled.data(), doubled.data(), 200);
    VectOp::addSubtract_I(sum.data(), sum.data(), 200);
    EXPECT_EQ(doubled, Floats(200, 3.0f));
    EXPECT_EQ(sum, Floats(200, 3.0f));
  });
}

TEST(VectOp, MoveShiftsByGroupsOfFourAndMayOverlap) {
  for (unsigned k : {0u, 1u, 3u}) {
    Floats moved(4 * k + 34, cGuard), expected(4 * k + 34, cGuard);
    std::iota(moved.begin(), moved.begin() + 33, 0.0f);
    std::copy_n(moved.begin(), 4 * k, expected.begin());
    std::iota(expected.begin() + 4 * k, expected.end() - 1, 0.0f);
    VectOp::move(moved.data(), k, 33);
    EXPECT_EQ(moved, expected);
  }
}

TEST(VectOp, TheNormAddsInSinglePrecisionAndElementOrder) {
  EXPECT_EQ(VectOp::norm_L2(Floats{3.0f, -4.0f}.data(), 2), 5.0f);
  // Single ones vanish beside 2 to the power 24 when it comes first, and count when it comes last.
  Floats v(33, 1.0f);
  v.front() = 4096.0f;
  EXPECT_EQ(VectOp::norm_L2_Sqr(v.data(), 33), 16777216.0f);
  std::swap(v.front(), v.back());
  EXPECT_EQ(VectOp::norm_L2_Sqr(v.data(), 33), 16777248.0f);
}

TEST(Meters, ShowTheMeanPowerWithoutAFloorAndTheLargestMagnitudeOnEitherSide) {
  const float square[] = {1, -1, 1, -1, 1}, silence[5] = {},
              uneven[] = {0, 0.5f, 0.25f, 0.5f, -0.8f};
  const float* channels[] = {square, uneven, silence};
  const auto meter = [&](auto compute, unsigned count, unsigned samples, unsigned outs) {
    Floats out(5, cGuard);
    compute(channels, count, samples, out.data(), outs);
    return out;
  };
  const Floats rms = meter(LIPC::computeVU_RMS, 3, 5, 4), peak{1.0f, 0.8f, 0.0f, 0.0f, cGuard};
  EXPECT_NEAR(rms[0], 0.0f, 1e-6f);
  EXPECT_NEAR(rms[1], 10 * std::log10((0.25 + 0.0625 + 0.25 + 0.64) / 5), 1e-5f);
  EXPECT_EQ(Floats(rms.begin() + 2, rms.end()), (Floats{-INFINITY, -144.0f, cGuard}));
  EXPECT_EQ(meter(LIPC::computeVU_peak, 3, 5, 4), peak);
  EXPECT_EQ(meter(LIPC::computeVU_RMS, 3, 0, 1), (Floats{-144.0f, cGuard, cGuard, cGuard, cGuard}));
}

TEST(Meters, EqualOneSampleAfterTheOtherBitByBitForAnyNumberOfChannels) {
  withEachTable([] {
    for (int round = 0; round < 2000; ++round) {
      const unsigned count = 1 + round % 37, n = 1 + round % 83;
      std::vector<Floats> blocks;
      std::vector<const float*> channels;
      Floats sums, peaks;
      for (unsigned c = 0; c < count; ++c) {
        blocks.push_back(mixed(n, round % 2 == 0 ? 6 : 1000));
        channels.push_back(blocks.back().data());
        float sum = 0.0f, low = blocks.back()[0], high = low;
        for (const float sample : blocks.back()) {
          sum += sample * sample;
          low = sample < low ? sample : low;
          high = sample > high ? sample : high;
        }
        sums.push_back(sum);
        peaks.push_back(std::fabs(low) > std::fabs(high) ? std::fabs(low) : std::fabs(high));
      }
      Floats actual(count);
      LIPC::kernels().sumSquares(channels.data(), count, n, actual.data());
      EXPECT_TRUE(haveSameBits(actual, sums)) << count << " x " << n;
      LIPC::computeVU_peak(channels.data(), count, n, actual.data(), count);
      EXPECT_TRUE(haveSameBits(actual, peaks)) << count << " x " << n;
    }
  });
}

}  // namespace
