// SPDX-License-Identifier: BSL-1.0
#include <numeric>

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

TEST(VectOp, EveryOperationEqualsItsElementsAtEverySizeAndStart) {
  for (unsigned n = 0; n <= 33; ++n) {
    for (unsigned start = 1; start <= 4; ++start) {  // any float of a 16-byte group
      Floats a(start + n + 1, cGuard), b = a, c = a;
      for (unsigned i = 0; i < n; ++i) {
        // Few bits each, so that every product and sum is exact.
        a[start + i] = static_cast<float>(i) - 11.5f;
        b[start + i] = 0.25f * static_cast<float>((7 * i) % 31) - 3.0f;
        c[start + i] = static_cast<float>((5 * i) % 13) + 0.5f;
      }
      for (const Case& test : sCases) {
        Floats actual = c, expected = c;
        test.operation(&a[start], &b[start], &actual[start], n);
        for (unsigned i = start; i < start + n; ++i)
          expected[i] = test.element(a[i], b[i], c[i]);
        EXPECT_EQ(actual, expected) << test.name << " of " << n << " from " << start;
      }
      Floats sum = a, difference = b;
      VectOp::addSubtract_I(&sum[start], &difference[start], n);
      for (unsigned i = start; i < start + n; ++i)
        EXPECT_TRUE(sum[i] == a[i] + b[i] && difference[i] == a[i] - b[i]) << i << " of " << n;
      EXPECT_TRUE(sum.back() == cGuard && difference.back() == cGuard);
    }
  }
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

}  // namespace
