#include <algorithm>
#include <limits>
#include <new>
#include <vector>

#include <gtest/gtest.h>

#include "lipc/realtime/SHMSlices.h"

namespace {

using LIPC::SHMSlices;

/// A ring over memory of exactly its size that held something else.
struct Ring {
  explicit Ring(unsigned short channels)
      : bytes(static_cast<std::size_t>(SHMSlices::sizeOfStruct(channels)), '\xAA'),
        slices(new (bytes.data()) SHMSlices("ring")) {
    slices->allocateChannelCount(channels);
  }
  SHMSlices* operator->() { return slices; }
  bool hasSilence() {
    return std::all_of(&bytes[4712], &*bytes.end(), [](char b) { return !b; });
  }

  std::vector<char> bytes;
  SHMSlices* slices;
};

TEST(SHMSlices, TheSampleAreaIsLaidOutSliceAfterSliceAndZeroed) {
  for (const unsigned short channels : {0, 1, 2}) {
    Ring ring(channels);
    EXPECT_EQ(ring.bytes.size(), 4712u + 24576u * channels);
    for (int i = 0; i < 6; ++i) {
      const auto* samples = reinterpret_cast<const char*>(ring->slices[i].getChannel(1));
      EXPECT_EQ(samples - ring.bytes.data(), 4712 + 4096 * (i * channels + 1));
      EXPECT_EQ(ring->slices[i].channelCount, channels);
    }
    EXPECT_TRUE(ring.hasSilence());
  }
}

TEST(SHMSlices, TheNewestSliceMatchesExactlyOrTwoSamplesOffBackwardsRoundTheRing) {
  Ring ring(0);
  for (int newest = 0; newest < 6; ++newest) {
    ring->currentSlice = newest;
    for (int age = 0; age < 6; ++age)
      ring->slices[(newest + 6 - age) % 6].timeStamp = 1000 - 2 * age;
    EXPECT_EQ(ring->getSliceWithTime(1002), &ring->slices[newest]);
    EXPECT_EQ(ring->getSliceWithTime(1000), &ring->slices[newest]);
    EXPECT_EQ(ring->getSliceWithTime(994), &ring->slices[(newest + 4) % 6]);
    EXPECT_EQ(ring->getSliceWithTime(988), &ring->slices[(newest + 1) % 6]);
    for (const int t : {986, 987, 999, 1001, 1003, 1004})
      EXPECT_EQ(ring->getSliceWithTime(t), nullptr) << t;
  }
}

TEST(SHMSlices, ForeignIndicesAndStampsNeverLeaveTheRing) {
  constexpr long long cLast = std::numeric_limits<long long>::max();
  Ring ring(0);
  ring->slices[3].timeStamp = cLast;
  for (const int spoilt : {-1, 6, 1 << 30, std::numeric_limits<int>::min()}) {
    ring->currentSlice = spoilt;
    EXPECT_EQ(ring->getSliceWithTime(cLast - 2), &ring->slices[3]);
    EXPECT_EQ(ring->getSliceWithTime(-cLast + 100), nullptr);
  }
}

TEST(SHMSlices, ClearZeroesParametersAndSamplesAndNothingElse) {
  Ring ring(1);
  LIPC::SHMSliceBuffer& slice = ring->slices[5];
  slice.timeStamp = 77;
  slice.ready = 1;
  slice.parameters[171] = slice.getChannelSamples(0)[1023] = 0.5f;
  ring->clear();
  EXPECT_TRUE(ring.hasSilence());
  EXPECT_EQ(slice.parameters[171], 0.0f);
  EXPECT_EQ(slice.samplesOffset, 4712 + 5 * 4096 - 8 - 5 * 784);
  EXPECT_EQ(slice.timeStamp, 77);
  EXPECT_EQ(slice.ready, 1);
}

}  // namespace
