// SPDX-License-Identifier: BSL-1.0
#include "lipc/util/Levels.h"
#include "tests/support/Testing.h"

namespace {

using namespace LIPC;

constexpr float cNaN = std::numeric_limits<float>::quiet_NaN();

TEST(PTGain, EveryStepAndEveryMiddleBetweenTwoConvertsThereAndBack) {
  for (int i = 0; i <= 1023; ++i) {
    const float step = scPT11GainTodB[i], p = static_cast<float>(i) / 1023.0f;
    // Unity has a parameter of its own.
    EXPECT_EQ(dBToPTGainParameter(step), i == 767 ? 0.75f : p) << i;
    EXPECT_NEAR(PTgainParameterTodB(p), step, 5e-4f) << i;
    if (i >= 1022) continue;
    const float middle = (step + scPT11GainTodB[i + 1]) / 2.0f,
                between = dBToPTGainParameter(middle);
    EXPECT_NEAR(between * 1023.0f, static_cast<float>(i) + 0.5f, 2e-3f) << i;
    EXPECT_NEAR(PTgainParameterTodB(between), middle, 1e-3f) << i;
  }
}

TEST(Levels, AmplitudeAndDecibelsInvertEachOtherAboveTheFloorThatSwallowsTheRest) {
  for (float db = -143.5f; db <= 24.0f; db += 0.5f)
    EXPECT_NEAR(amplitude2db(db2amplitude(db)), db, 2e-5f);
  EXPECT_FLOAT_EQ(db2amplitude(-20.0f), 0.1f);
  constexpr float cFloor = 6.309576e-8f;
  for (float x : {cFloor, -1.0f, cNaN})
    EXPECT_EQ(amplitude2db(x), -144.0f);
  EXPECT_GT(amplitude2db(cFloor * 1.00001f), -144.0f);
  EXPECT_TRUE(db2amplitude(-144.0f) == 0.0f && db2amplitude(cNaN) == 0.0f);
  EXPECT_GT(db2amplitude(-143.99f), 0.0f);
}

TEST(Levels, RangesMapLinearlyAndDoNotClampAndRoundingGoesAwayFromZero) {
  const float range[] = {-60.0f, 4.0f}, falling[] = {1.0f, -1.0f}, odd[] = {0.0f, 41.0f};
  EXPECT_EQ(db2param(-124.0f, range), -1.0f);
  EXPECT_EQ(param2db(1.5f, range), 36.0f);
  EXPECT_EQ(linearRescale(36.0f, range, falling), -2.0f);
  // The reciprocal is formed first, so the upper end of some ranges misses 1 by a last bit.
  EXPECT_EQ(db2param(41.0f, odd), std::nextafter(1.0f, 0.0f));
  EXPECT_TRUE(LIPC::round(2.5f) == 3 && LIPC::round(-2.5f) == -3 && LIPC::round(2.49f) == 2);
  // Nothing is left of 2 to the power 32 in its low 32 bits.
  EXPECT_FALSE(toBool(0.49999997f) || toBool(-0.49f) || toBool(4294967296.0f));
  EXPECT_TRUE(toBool(0.5f) && toBool(-0.5f));
}

}  // namespace
