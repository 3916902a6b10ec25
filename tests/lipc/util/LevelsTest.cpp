#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "lipc/util/Levels.h"

namespace {

using LIPC::scPT11GainTodB;

constexpr float cNaN = std::numeric_limits<float>::quiet_NaN();
constexpr int cLastStep = 1023;

int hundredths(int step) {
  return static_cast<int>(std::lround(100.0 * static_cast<double>(scPT11GainTodB[step])));
}

TEST(PTGain, TheTableRisesStrictlyInHundredthsOfADecibel) {
  for (int i = 0; i < cLastStep; ++i) {
    EXPECT_EQ(scPT11GainTodB[i], static_cast<float>(hundredths(i) / 100.0)) << i;
    EXPECT_LT(scPT11GainTodB[i], scPT11GainTodB[i + 1]) << i;
  }
}

TEST(PTGain, EverySegmentEndsAtItsLevelAndHasItsStepSizes) {
  struct Segment {
    int begin, end, enddB100, smallest, largest;
  };
  // The last column allows for the odd step of each segment.
  const Segment segments[] = {
      {0, 10, -9000, 460, 600}, {10, 16, -8400, 100, 100}, {16, 33, -7200, 70, 80},
      {33, 132, -4000, 30, 40}, {132, 380, -1990, 5, 10},  {380, 767, 0, 5, 10},
      {767, 1023, 1200, 2, 5},
  };
  EXPECT_EQ(hundredths(0), -14400);
  for (const Segment& s : segments) {
    EXPECT_EQ(hundredths(s.end), s.enddB100);
    for (int i = s.begin; i < s.end; ++i) {
      const int rise = hundredths(i + 1) - hundredths(i);
      EXPECT_GE(rise, s.smallest) << i;
      EXPECT_LE(rise, s.largest) << i;
    }
  }
}

TEST(PTGain, EveryStepConvertsToItselfAndBack) {
  for (int i = 0; i <= cLastStep; ++i) {
    const float p = static_cast<float>(i) / 1023.0f;
    // Unity has a parameter of its own.
    EXPECT_EQ(LIPC::dBToPTGainParameter(scPT11GainTodB[i]), i == 767 ? 0.75f : p) << i;
    EXPECT_NEAR(LIPC::PTgainParameterTodB(p), scPT11GainTodB[i], 5e-4f) << i;
  }
}

TEST(PTGain, LevelsBetweenStepsSurviveTheWayThereAndBack) {
  for (int i = 0; i < cLastStep - 1; ++i) {
    const float db = (scPT11GainTodB[i] + scPT11GainTodB[i + 1]) / 2.0f;
    const float p = LIPC::dBToPTGainParameter(db);
    EXPECT_NEAR(p * 1023.0f, static_cast<float>(i) + 0.5f, 2e-3f) << i;
    EXPECT_NEAR(LIPC::PTgainParameterTodB(p), db, 1e-3f) << i;
  }
}

TEST(PTGain, TheEndsUnityAndTheLastStretchAreExact) {
  EXPECT_EQ(LIPC::PTgainParameterTodB(0.75f), 0.0f);
  EXPECT_EQ(LIPC::PTgainParameterTodB(1.0f), 12.0f);
  EXPECT_EQ(LIPC::PTgainParameterTodB(1.5f), 12.0f);
  EXPECT_EQ(LIPC::PTgainParameterTodB(1022.5f / 1023.0f), 11.95f);
  EXPECT_EQ(LIPC::PTgainParameterTodB(std::nextafter(1.0f, 0.0f)), 11.95f);
  for (float p : {0.0f, -0.0f, -1.0f, cNaN})
    EXPECT_EQ(LIPC::PTgainParameterTodB(p), -144.0f);

  EXPECT_EQ(LIPC::dBToPTGainParameter(0.0f), 0.75f);
  EXPECT_EQ(LIPC::dBToPTGainParameter(-13.1f), 512.0f / 1023.0f);
  EXPECT_EQ(LIPC::dBToPTGainParameter(-200.0f), 0.0f);
  EXPECT_EQ(LIPC::dBToPTGainParameter(20.0f), 1.0f);
  EXPECT_NEAR(LIPC::dBToPTGainParameter(11.975f), 1022.5f / 1023.0f, 1e-6f);
  EXPECT_TRUE(std::isnan(LIPC::dBToPTGainParameter(cNaN)));
}

TEST(Levels, AmplitudeAndDecibelsInvertEachOtherAboveTheFloor) {
  for (float db = -143.5f; db <= 24.0f; db += 0.5f) {
    EXPECT_NEAR(LIPC::amplitude2db(LIPC::db2amplitude(db)), db, 2e-5f);
  }
  EXPECT_EQ(LIPC::amplitude2db(1.0f), 0.0f);
  EXPECT_EQ(LIPC::db2amplitude(0.0f), 1.0f);
  EXPECT_FLOAT_EQ(LIPC::db2amplitude(-20.0f), 0.1f);
}

TEST(Levels, TheFloorSwallowsEverythingBelowItAndNaN) {
  const float floorAmplitude = 6.309576e-8f;
  for (float x : {floorAmplitude, 6.309e-8f, 0.0f, -1.0f, cNaN})
    EXPECT_EQ(LIPC::amplitude2db(x), -144.0f);
  EXPECT_GT(LIPC::amplitude2db(floorAmplitude * 1.00001f), -144.0f);
  for (float db : {-144.0f, -200.0f, cNaN})
    EXPECT_EQ(LIPC::db2amplitude(db), 0.0f);
  EXPECT_GT(LIPC::db2amplitude(-143.99f), 0.0f);
}

TEST(Levels, RangesMapLinearlyAndDoNotClamp) {
  const float range[] = {-60.0f, 4.0f};
  const float falling[] = {1.0f, -1.0f};
  EXPECT_EQ(LIPC::db2param(-60.0f, range), 0.0f);
  EXPECT_EQ(LIPC::db2param(4.0f, range), 1.0f);
  EXPECT_EQ(LIPC::db2param(-124.0f, range), -1.0f);
  EXPECT_EQ(LIPC::param2db(1.5f, range), 36.0f);
  EXPECT_EQ(LIPC::param2db(0.25f, falling), 0.5f);
  EXPECT_EQ(LIPC::linearRescale(-28.0f, range, falling), 0.0f);
  EXPECT_EQ(LIPC::linearRescale(36.0f, range, falling), -2.0f);
  // The reciprocal is formed first, so the upper end of some ranges misses 1 by a last bit.
  const float odd[] = {0.0f, 41.0f};
  EXPECT_EQ(LIPC::db2param(41.0f, odd), std::nextafter(1.0f, 0.0f));
}

TEST(Levels, RoundingGoesAwayFromZeroAndSwitchesFollowIt) {
  EXPECT_EQ(LIPC::round(2.5f), 3);
  EXPECT_EQ(LIPC::round(-2.5f), -3);
  EXPECT_EQ(LIPC::round(2.49f), 2);
  for (float x : {0.0f, 0.49f, -0.49f, 0.49999997f})
    EXPECT_FALSE(LIPC::toBool(x)) << x;
  for (float x : {0.5f, -0.5f, 1.0f, -7.0f})
    EXPECT_TRUE(LIPC::toBool(x)) << x;
  // Nothing is left of 2 to the power 32 in its low 32 bits.
  EXPECT_FALSE(LIPC::toBool(4294967296.0f));
}

}  // namespace
