#include <limits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "lipc/util/Meters.h"
#include "lipc/util/VectOp.h"

namespace {

using LIPC::VectOp;

constexpr float cGuard = 777.0f;
constexpr float cConstant = -1.25f;

// Three blocks of n samples that start at any float of a 16-byte group, each between guards.
struct Blocks {
  Blocks(unsigned int n, unsigned int start) : first(start + 1) {
    for (auto* block : {&a, &b, &c})
      block->assign(first + n + 1, cGuard);
    for (unsigned int i = 0; i < n; ++i) {
      // Few bits each, so that every product and sum is exact.
      a[first + i] = static_cast<float>(i) - 11.5f;
      b[first + i] = 0.25f * static_cast<float>((7 * i) % 31) - 3.0f;
      c[first + i] = static_cast<float>((5 * i) % 13) + 0.5f;
    }
  }
  unsigned int first;
  std::vector<float> a, b, c;
};

using F = float*;
using CF = const float*;

// An operation that writes its result to c, and what it makes of one element of each block.
struct Case {
  const char* name;
  void (*operation)(CF a, CF b, F c, unsigned int n);
  float (*element)(float a, float b, float c);
};

// clang-format off
const Case sCases[] = {
  {"zero",         [](CF, CF, F c, unsigned n) { VectOp::zero(c, n); },
                   [](float, float, float) { return 0.0f; }},
  {"copy",         [](CF a, CF, F c, unsigned n) { VectOp::copy(a, c, n); },
                   [](float a, float, float) { return a; }},
  {"add",          [](CF a, CF b, F c, unsigned n) { VectOp::add(a, b, c, n); },
                   [](float a, float b, float) { return a + b; }},
  {"add_I",        [](CF a, CF, F c, unsigned n) { VectOp::add_I(a, c, n); },
                   [](float a, float, float c) { return c + a; }},
  {"add_C",        [](CF a, CF, F c, unsigned n) { VectOp::add_C(a, c, cConstant, n); },
                   [](float a, float, float) { return a + cConstant; }},
  {"add_C_I",      [](CF, CF, F c, unsigned n) { VectOp::add_C_I(c, cConstant, n); },
                   [](float, float, float c) { return c + cConstant; }},
  {"subtract",     [](CF a, CF b, F c, unsigned n) { VectOp::subtract(a, b, c, n); },
                   [](float a, float b, float) { return a - b; }},
  {"subtract_I",   [](CF a, CF, F c, unsigned n) { VectOp::subtract_I(a, c, n); },
                   [](float a, float, float c) { return c - a; }},
  {"multiply",     [](CF a, CF b, F c, unsigned n) { VectOp::multiply(a, b, c, n); },
                   [](float a, float b, float) { return a * b; }},
  {"multiply_I",   [](CF a, CF, F c, unsigned n) { VectOp::multiply_I(a, c, n); },
                   [](float a, float, float c) { return c * a; }},
  {"multiply_C",   [](CF a, CF, F c, unsigned n) { VectOp::multiply_C(a, c, cConstant, n); },
                   [](float a, float, float) { return a * cConstant; }},
  {"multiply_C_I", [](CF, CF, F c, unsigned n) { VectOp::multiply_C_I(c, cConstant, n); },
                   [](float, float, float c) { return c * cConstant; }},
  {"addProduct",   [](CF a, CF b, F c, unsigned n) { VectOp::addProduct(a, b, c, n); },
                   [](float a, float b, float c) { return c + a * b; }},
  {"addProduct_C", [](CF a, CF, F c, unsigned n) { VectOp::addProduct_C(a, c, cConstant, n); },
                   [](float a, float, float c) { return c + a * cConstant; }},
};
// clang-format on

TEST(VectOp, EveryOperationEqualsItsElementsAtEverySizeAndStart) {
  for (unsigned int n = 0; n <= 33; ++n) {
    for (unsigned int start = 0; start < 4; ++start) {
      SCOPED_TRACE(testing::Message() << n << " elements from " << start);
      const Blocks before(n, start);
      const unsigned int first = before.first;
      for (const Case& test : sCases) {
        Blocks actual = before, expected = before;
        test.operation(&actual.a[first], &actual.b[first], &actual.c[first], n);
        for (unsigned int i = first; i < first + n; ++i) {
          expected.c[i] = test.element(before.a[i], before.b[i], before.c[i]);
        }
        EXPECT_EQ(actual.c, expected.c) << test.name;
      }
      Blocks actual = before, expected = before;
      VectOp::addSubtract_I(&actual.a[first], &actual.b[first], n);
      for (unsigned int i = first; i < first + n; ++i) {
        expected.a[i] = before.a[i] + before.b[i];
        expected.b[i] = before.a[i] - before.b[i];
      }
      EXPECT_EQ(actual.a, expected.a) << "addSubtract_I";
      EXPECT_EQ(actual.b, expected.b) << "addSubtract_I";
    }
  }
}

TEST(VectOp, MoveShiftsByGroupsOfFourAndMayOverlap) {
  for (unsigned int n : {0u, 4u, 5u, 33u}) {
    for (unsigned int k : {0u, 1u, 3u}) {
      std::vector<float> v(4 * k + n + 1, cGuard);
      for (unsigned int i = 0; i < n; ++i)
        v[i] = static_cast<float>(i);
      VectOp::move(v.data(), k, n);
      for (unsigned int i = 0; i < n; ++i)
        EXPECT_EQ(v[4 * k + i], static_cast<float>(i));
      EXPECT_EQ(v[4 * k + n], cGuard);
    }
  }
}

TEST(VectOp, TheNormAddsInSinglePrecisionAndElementOrder) {
  EXPECT_EQ(VectOp::norm_L2_Sqr(nullptr, 0), 0.0f);
  const float pythagoras[] = {3.0f, -4.0f};
  EXPECT_EQ(VectOp::norm_L2_Sqr(pythagoras, 2), 25.0f);
  EXPECT_EQ(VectOp::norm_L2(pythagoras, 2), 5.0f);
  // Single ones vanish beside 2 to the power 24 when it comes first, and count when it comes last.
  std::vector<float> v(33, 1.0f);
  v.front() = 4096.0f;
  EXPECT_EQ(VectOp::norm_L2_Sqr(v.data(), 33), 16777216.0f);
  std::swap(v.front(), v.back());
  EXPECT_EQ(VectOp::norm_L2_Sqr(v.data(), 33), 16777248.0f);
}

TEST(Meters, RMSIsTheMeanPowerWithoutAFloor) {
  const std::vector<float> square = {1.0f, -1.0f, 1.0f, -1.0f, 1.0f};
  const std::vector<float> tenth = {0.1f, -0.1f, 0.1f, 0.1f, 0.1f};
  const std::vector<float> silence(5, 0.0f);
  const float* channels[] = {square.data(), tenth.data(), silence.data()};
  float out[6] = {cGuard, cGuard, cGuard, cGuard, cGuard, cGuard};
  LIPC::computeVU_RMS(channels, 3, 5, out, 5);
  EXPECT_NEAR(out[0], 0.0f, 1e-6f);
  EXPECT_NEAR(out[1], -20.0f, 1e-5f);
  EXPECT_EQ(out[2], -std::numeric_limits<float>::infinity());
  EXPECT_EQ(out[3], -144.0f);
  EXPECT_EQ(out[4], -144.0f);
  EXPECT_EQ(out[5], cGuard);
}

TEST(Meters, PeakIsTheLargestMagnitudeOnEitherSide) {
  const float below[] = {-0.8f, 0.5f};
  const float above[] = {0.25f, 0.75f};
  const float* channels[] = {below, above};
  float out[4] = {cGuard, cGuard, cGuard, cGuard};
  LIPC::computeVU_peak(channels, 2, 2, out, 3);
  EXPECT_EQ(std::vector<float>(out, out + 4), (std::vector<float>{0.8f, 0.75f, 0.0f, cGuard}));
  LIPC::computeVU_peak(channels, 2, 1, out, 2);
  EXPECT_EQ(out[0], 0.8f);
  EXPECT_EQ(out[1], 0.25f);
}

TEST(Meters, WithoutSamplesEveryOutputRests) {
  float out[3] = {cGuard, cGuard, cGuard};
  LIPC::computeVU_RMS(nullptr, 4, 0, out, 2);
  EXPECT_EQ(std::vector<float>(out, out + 3), (std::vector<float>{-144.0f, -144.0f, cGuard}));
  LIPC::computeVU_peak(nullptr, 4, 0, out, 2);
  EXPECT_EQ(std::vector<float>(out, out + 3), (std::vector<float>{0.0f, 0.0f, cGuard}));
}

}  // namespace
