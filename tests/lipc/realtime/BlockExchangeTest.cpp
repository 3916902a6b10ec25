// SPDX-License-Identifier: BSL-1.0

// The exchange in plain memory, with the host's side done by hand.
#include <numeric>

#include <sched.h>

#include "lipc/realtime/BlockExchange.h"
#include "tests/support/Testing.h"

namespace {

int sYields = 0;
std::function<void()> sOnYield;

}  // namespace

/// Stands before the system's, so that the exchange's polls can be counted and answered.
extern "C" int sched_yield() {
  ++sYields;
  if (sOnYield) sOnYield();
  return 0;
}

namespace {

using LIPC::AudioBlock;
using LIPC::SHMSliceBuffer;
using LIPC::SHMSlices;
using Floats = std::vector<float>;

constexpr unsigned cMostChannels = 13;
constexpr float cBefore = -7.0F;  // what a caller's buffer holds before a block

/// A ring in memory of exactly its segment's size, so that AddressSanitizer sees what leaves it.
struct Ring {
  Ring() { slices->allocateChannelCount(2); }
  SHMSlices* operator->() const { return slices; }
  LIPC::MappedRing mapped() const { return {slices, bytes}; }

  const std::size_t bytes = static_cast<std::size_t>(SHMSlices::sizeOfStruct(2));
  const std::unique_ptr<std::uint64_t[]> memory{new std::uint64_t[bytes / sizeof(std::uint64_t)]};
  SHMSlices* const slices = new (memory.get()) SHMSlices("ring");
};

struct BlockExchange : testing::Test {
  BlockExchange() {
    queue.reset();
    exchange.attach(send.mapped(), returns.mapped(), queue, newData);
    for (unsigned c = 0; c < cMostChannels; ++c)
      channels[c] = samples[c];
    std::iota(std::begin(parameters), std::end(parameters), 0.0F);
  }

  LIPC::ExchangeSetup setup(unsigned channelCount = 2) const {
    return {0x54455354, id.data(), channelCount, channelCount, routing.data(), routing.size()};
  }
  AudioBlock block(long long stamp, int count = 256, int inputs = 2) {
    return {channels, count, inputs, stamp, parameters, 172, returned, 172};
  }
  void fill(float value) {
    for (auto& channel : samples)
      std::fill(std::begin(channel), std::end(channel), value);
  }
  /// A return slot of `stamp` as the host leaves it: channel c holds 10 + c, the parameters 3.
  SHMSliceBuffer& answer(long long stamp, bool isReady = true) {
    SHMSliceBuffer& slice = *returns.mapped().advance(stamp);
    const LIPC::SliceSamples all = returns.mapped().samplesOf(slice);
    for (unsigned c = 0; c < all.channelCount; ++c)
      std::fill_n(all.channel(c), 1024, 10.0F + static_cast<float>(c));
    std::fill(std::begin(slice.parameters), std::end(slice.parameters), 3.0F);
    slice.ready = isReady ? 1 : 0;
    return slice;
  }
  /// Receives into buffers that hold cBefore; the first sample of each output.
  Floats heard(unsigned outputs, long long stamp, bool mayPoll = false) {
    fill(cBefore);
    exchange.receive(block(stamp), setup(outputs), mayPoll);
    Floats firsts;
    for (unsigned o = 0; o < outputs; ++o)
      firsts.push_back(samples[o][0]);
    return firsts;
  }

  Ring send, returns;
  LIPC::ValueQueue queue;
  LIPC::Semaphore record{"BlockExchangeTest", 0};
  LIPC::SemaphoreHandle newData{record};
  LIPC::BlockExchange exchange;
  std::string id = std::string(70, 'i');
  std::vector<std::int32_t> routing{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  float samples[cMostChannels][1024];
  float* channels[cMostChannels];
  float parameters[AudioBlock::cMostParameters], returned[AudioBlock::cMostParameters];
};

TEST_F(BlockExchange, ABlockIsSentWholeWithItsSenderAndASecondOfItsStampReusesTheSlice) {
  for (const int count : {0, 1, 1024, 256}) {
    const long long stamp = 50'000 + 2000 * count;
    answer(stamp - 4LL * count);
    fill(cBefore);
    exchange.send(block(stamp, count), setup());
    exchange.receive(block(stamp, count), setup(), false);
    const SHMSliceBuffer& slice = send->slices[send->currentSlice];
    for (int s : {0, 1, 255, 256, 1023}) {
      EXPECT_EQ(samples[1][s], s < count ? 11.0F : cBefore) << count << " " << s;
      EXPECT_EQ(slice.getChannelSamples(1)[s], s < count ? cBefore : 0) << count << " " << s;
    }
  }
  const auto sender = [](const SHMSliceBuffer& slice) {
    return std::to_string(slice.timeStamp) + slice.clientID + std::to_string(slice.clientType) +
           " " + std::to_string(slice.sampleCount) + (slice.ready != 0 ? " ready" : "");
  };
  const std::string who = id.substr(0, 64) + "1413829460 256";
  EXPECT_EQ(sender(send->slices[4]), "562000" + who + " ready");
  std::string newest;
  for (const long long stamp : {1000, 1000, 998, 1002, 1001, 1256, 1512, 1768, 2024, 2280}) {
    exchange.send(block(stamp), setup());
    newest += std::to_string(send->currentSlice);
    EXPECT_TRUE(stamp > 1000 || exchange.sentParameters(1000)[171] == 171.0F);
  }
  EXPECT_EQ(newest, "5555012345") << "one sample off is another block";
  EXPECT_EQ(exchange.sentParameters(1000), nullptr) << "round the ring";
  for (const int slot : {5, 0}) {
    returns->slices[slot].ready = 1;
    exchange.stampReturnSlot(block(1000), setup());
    EXPECT_EQ(returns->currentSlice, slot) << "fresh always";
    EXPECT_EQ(sender(returns->slices[slot]), "1000" + who);
  }
}

TEST_F(BlockExchange, AnUnreadySlotYieldsItsParametersAMissingOneZerosAndAReadyOneWhatIsRouted) {
  EXPECT_EQ(heard(2, 9001, true), (Floats{0, 0}));
  EXPECT_TRUE(returned[171] == 0.0F && sYields == 10);
  for (const int late : {1, 10, 11}) {
    SHMSliceBuffer& slice = answer(1000 * late, false);
    sYields = 0;
    sOnYield = [&] { slice.ready = sYields == late ? 1 : slice.ready; };
    EXPECT_EQ(heard(2, 1000 * late + 1024), (Floats{0, 0}));
    EXPECT_EQ(std::exchange(returned[171], 0.0F) + static_cast<float>(sYields), 3.0F);
    EXPECT_EQ(heard(2, 1000 * late + 1024, true), late <= 10 ? (Floats{10, 11}) : (Floats{0, 0}));
    EXPECT_EQ(sYields, std::min(late, 10)) << "no look after the tenth yield's";
    sOnYield = nullptr;  // others yield too: LeakSanitizer does at the end
  }
  answer(9000);
  exchange.send(block(9000 + 1024), setup());  // of cBefore
  const AudioBlock bare{nullptr, 256, 2, 9000 + 1024, nullptr, 172, nullptr, 172};
  exchange.send(bare, setup());
  exchange.receive(bare, setup(), false);  // null buffers are silence
  EXPECT_EQ(send->slices[send->currentSlice].getChannelSamples(0)[0], 0.0F);
  routing = {1, 0, -1, 2, 65536, INT_MIN, INT_MAX, 1};
  EXPECT_EQ(heard(9, 9000 + 1024), (Floats{11, 10, 0, 0, 0, 0, 0, 11, 0})) << "the ninth has none";
  EXPECT_EQ(samples[9][0], cBefore);
}

TEST_F(BlockExchange, ARingIsBelievedOnlyAsFarAsItsMemoryReaches) {
  const int end = static_cast<int>(send.bytes) - 8;  // as seen from slice 0
  // What is heard of the outputs 0, 1, 11 and 12 where slice 0 says it has 65535 at an offset.
  for (const auto& [offset, expected] : {std::pair{4704, Floats{10, 11, 21, 0}},
                                         {4703, {0, 0, 0, 0}},
                                         {end - 4096, {10, 0, 0, 0}},
                                         {end - 4092, {0, 0, 0, 0}},
                                         {INT_MIN, {0, 0, 0, 0}},
                                         {INT_MAX, {0, 0, 0, 0}}}) {
    for (SHMSlices* ring : {send.slices, returns.slices}) {
      ring->currentSlice = ring == send.slices ? 77 : -5;  // the next is slice 0
      ring->slices[0].samplesOffset = offset;
      ring->slices[0].channelCount = 65535;
    }
    exchange.send(block(10'024, 256, cMostChannels), setup(cMostChannels));
    answer(9000);
    const Floats all = heard(cMostChannels, 10'024);
    EXPECT_EQ((Floats{all[0], all[1], all[11], all[12]}), expected) << offset;
  }
}

}  // namespace
