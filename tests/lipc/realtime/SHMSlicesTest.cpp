// SPDX-License-Identifier: BSL-1.0
#include "lipc/realtime/SHMSlices.h"
#include "tests/support/Testing.h"

namespace {

using LIPC::SHMSlices;

TEST(SHMSlices, TheNewestSliceWithinExactlyTwoSamplesIsFoundBackwardsRoundTheRing) {
  SHMSlices ring("ring");
  for (const int newest : {0, 1, 2, 3, 4, 5, 6, -1, INT_MAX, INT_MIN}) {
    ring.currentSlice = newest;
    const unsigned first = static_cast<unsigned>(newest) % 6;
    for (unsigned age = 0; age < 6; ++age)
      ring.slices[(first + 6 - age) % 6].timeStamp = 1000 - 100 * ((age + 1) / 2);
    EXPECT_EQ(ring.getSliceWithTime(1000), &ring.slices[first]);
    EXPECT_EQ(ring.getSliceWithTime(902), &ring.slices[(first + 5) % 6]);
    EXPECT_EQ(ring.getSliceWithTime(698), &ring.slices[(first + 1) % 6]);
    for (const long long t : {LLONG_MIN, 697LL, 699LL, 701LL, 703LL, 999LL, 1001LL, LLONG_MAX})
      EXPECT_EQ(ring.getSliceWithTime(t), nullptr) << t;
  }
}

}  // namespace
