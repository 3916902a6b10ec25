#include <utility>

#include "lipc/util/Meters.h"
#include "lipc/util/VectOp.h"
#include "tests/support/Testing.h"

namespace {

using LIPC::VectOp;
using Floats = std::vector<float>;

constexpr float cGuard = 777.0f;
constexpr float C = -1.25f;

using F = float*;
using CF = const float*;

// An operation that writes its result to c, and what it makes of one element of each block.
struct Case {
  const char* name;
  void (*operation)(CF a, CF b, F c, unsigned int n);
  float (*element)(float a, float b, float c);
};

// clang-format off
#define CASE(name, call, result) \
  {#name, [](CF a, CF b, F c, unsigned n) { (void)a; (void)b; VectOp::name call; }, \
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
  for (unsigned n : {0u, 4u, 5u, 33u}) {
    for (unsigned k : {0u, 1u, 3u}) {
      Floats v(4 * k + n + 1, cGuard);
      for (unsigned i = 0; i < n; ++i)
        v[i] = static_cast<float>(i);
      VectOp::move(v.data(), k, n);
      for (unsigned i = 0; i < n; ++i)
        EXPECT_EQ(v[4 * k + i], static_cast<float>(i));
      EXPECT_EQ(v[4 * k + n], cGuard);
    }
  }
}

TEST(VectOp, TheNormAddsInSinglePrecisionAndElementOrder) {
  EXPECT_EQ(VectOp::norm_L2_Sqr(nullptr, 0), 0.0f);
  EXPECT_EQ(VectOp::norm_L2(Floats{3.0f, -4.0f}.data(), 2), 5.0f);
  // Single ones vanish beside 2 to the power 24 when it comes first, and count when it comes last.
  Floats v(33, 1.0f);
  v.front() = 4096.0f;
  EXPECT_EQ(VectOp::norm_L2_Sqr(v.data(), 33), 16777216.0f);
  std::swap(v.front(), v.back());
  EXPECT_EQ(VectOp::norm_L2_Sqr(v.data(), 33), 16777248.0f);
}

TEST(Meters, ShowTheMeanPowerWithoutAFloorAndTheLargestMagnitudeOnEitherSide) {
  const Floats square = {1.0f, -1.0f, 1.0f, -1.0f, 1.0f}, silence(5, 0.0f);
  const Floats tenth = {0.1f, -0.1f, 0.1f, 0.1f, 0.1f}, uneven = {0.25f, -0.8f, 0.5f, 0.75f, 0.0f};
  const float* channels[] = {square.data(), tenth.data(), silence.data(), uneven.data()};
  const auto meter = [&](auto compute, unsigned count, unsigned samples, unsigned outs) {
    Floats out(6, cGuard);
    compute(channels, count, samples, out.data(), outs);
    return out;
  };
  const Floats rms = meter(LIPC::computeVU_RMS, 3, 5, 5);
  EXPECT_NEAR(rms[0], 0.0f, 1e-6f);
  EXPECT_NEAR(rms[1], -20.0f, 1e-5f);
  constexpr float cInfinity = std::numeric_limits<float>::infinity();
  EXPECT_EQ(Floats(rms.begin() + 2, rms.end()), (Floats{-cInfinity, -144.0f, -144.0f, cGuard}));
  EXPECT_EQ(meter(LIPC::computeVU_peak, 4, 4, 5), (Floats{1.0f, 0.1f, 0.0f, 0.8f, 0.0f, cGuard}));
  EXPECT_EQ(meter(LIPC::computeVU_peak, 4, 1, 4),
            (Floats{1.0f, 0.1f, 0.0f, 0.25f, cGuard, cGuard}));
  EXPECT_EQ(meter(LIPC::computeVU_RMS, 4, 0, 2),
            (Floats{-144.0f, -144.0f, cGuard, cGuard, cGuard, cGuard}));
  EXPECT_EQ(meter(LIPC::computeVU_peak, 4, 0, 2),
            (Floats{0.0f, 0.0f, cGuard, cGuard, cGuard, cGuard}));
}

}  // namespace
