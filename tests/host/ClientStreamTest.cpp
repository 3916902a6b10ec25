// SPDX-License-Identifier: BSL-1.0

// One client's audio as the host sees it, step by step: what stands in the ring, what goes into the
// timeline, what is lost.
#include <gtest/gtest.h>

#include "host/ClientStream.h"
#include "lipc/session/SessionNames.h"
#include "lipc/util/SharedWord.h"

namespace {

using LIPC::ClientID;
using LIPC::SHMSlices;

constexpr unsigned cSamples = 256;

/// A client by hand: its three segments, and blocks whose samples say when they were sent.
struct ByHand {
  explicit ByHand(const std::string& id)
      : buffer(id.c_str(), sizeof(LIPC::ClientBuffer)),
        send((id + LIPC::cSendSuffix).c_str(), SHMSlices::sizeOfStruct(1)),
        returns((id + LIPC::cReturnSuffix).c_str(), SHMSlices::sizeOfStruct(1)) {
    send->allocateChannelCount(1);
    returns->allocateChannelCount(1);
  }
  void sendBlock(long long stamp, bool isAnnounced = true) {
    for (auto* ring : {send.get(), returns.get()}) {
      ring->currentSlice = (ring->currentSlice + 1) % SHMSlices::cSliceCount;
      LIPC::SHMSliceBuffer& slice = ring->slices[ring->currentSlice];
      slice.timeStamp = stamp;
      slice.sampleCount = cSamples;
      std::fill_n(slice.getChannelSamples(0), cSamples, static_cast<float>(stamp));
    }
    if (isAnnounced) buffer->newDataQueue.put(stamp);
  }
  LIPC::ShmManagedCreateOpen<LIPC::ClientBuffer> buffer;
  LIPC::ShmManagedCreateOpen<SHMSlices> send, returns;
};

/// The first and the last sample of [t, t + 256) as a listener finds it.
std::pair<float, float> heardAt(host::ClientStream& stream, long long t) {
  std::vector<float> samples(cSamples);
  if (const auto* block = stream.standing(t, cSamples)) {
    const float* from = stream.samplesOf(*block).channel(0);
    samples.assign(from, from + cSamples);
  } else {
    stream.timeline().addTo(samples.data(), 0, t, cSamples);
  }
  return {samples.front(), samples.back()};
}

TEST(ClientStream, KeepsWhatAListenerHasNotHeardForgetsWhatAllHaveAndCountsWhatIsLostOnce) {
  ByHand source("source"), target("target");
  host::ClientStream sent(ClientID("source")), listener(ClientID("target"));
  sent.setListeners({&listener}, {0});
  const auto send = [&](long long from, long long to, bool isAnnounced = true) {
    for (long long stamp = from; stamp <= to; stamp += cSamples) {
      source.sendBlock(stamp, isAnnounced);
      sent.readNew();
    }
  };
  const auto answer = [&](long long stamp) {
    target.sendBlock(stamp);
    listener.readNew();
    listener.answerOldest(listener.openSlot());
  };
  using Pair = std::pair<float, float>;

  send(0, 10 * 256);  // ten blocks ahead of its listener
  EXPECT_EQ(sent.standing(7 * 256, cSamples), nullptr);
  EXPECT_NE(sent.standing(8 * 256, cSamples), nullptr) << "the newest three are where they were";
  EXPECT_EQ(heardAt(sent, 256), Pair(256, 256));
  EXPECT_EQ(heardAt(sent, 9 * 256), Pair(9 * 256, 9 * 256));

  send(11 * 256, 12 * 256);
  send(13 * 256, 16 * 256, false);  // 10 * 256 is gone, and the host does not know
  const auto* lost = sent.standing(10 * 256, cSamples);
  ASSERT_TRUE(lost != nullptr && !host::ClientStream::isStill(*lost));
  EXPECT_EQ(heardAt(sent, 11 * 256 + 128), Pair(11 * 256, 12 * 256)) << "between two blocks";
  EXPECT_EQ(heardAt(sent, 10 * 256), Pair(0, 0)) << "silence, not another block";
  EXPECT_EQ(sent.counters().dropped, 1U);
  EXPECT_EQ(heardAt(sent, 9 * 256), Pair(9 * 256, 9 * 256));

  answer(16 * 256);
  send(17 * 256, 19 * 256);
  answer(19 * 256);
  send(20 * 256, 22 * 256);
  EXPECT_EQ(heardAt(sent, 17 * 256), Pair(0, 0)) << "all have heard it";
  answer(22 * 256);
  for (int block = 100; block < 104; ++block)
    source.sendBlock(block * 256, false);  // over 20 * 256, which everybody has heard
  send(0, 256);
  EXPECT_EQ(heardAt(sent, 256), Pair(256, 256));
  EXPECT_EQ(sent.counters().dropped, 3U) << "and the two that came too late";
  EXPECT_EQ(sent.counters().blocksIn, 21U);
}

}  // namespace
