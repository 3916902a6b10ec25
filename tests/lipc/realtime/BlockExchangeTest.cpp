// The exchange in plain memory, with the host's side done by hand.
#include <numeric>
#include <random>

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

constexpr unsigned cMostChannels = 16;
constexpr float cBefore = -7.0F;  // what a caller's buffer holds before a block

/// A ring in memory of exactly its segment's size, so that AddressSanitizer sees what leaves it.
struct Ring {
  explicit Ring(unsigned short channels = 2)
      : bytes(static_cast<std::size_t>(SHMSlices::sizeOfStruct(channels))),
        memory(std::make_unique<std::uint64_t[]>(bytes / sizeof(std::uint64_t))),
        slices(new (memory.get()) SHMSlices("ring")) {
    slices->allocateChannelCount(channels);
  }
  SHMSlices* operator->() const { return slices; }
  LIPC::MappedRing mapped() const { return {slices, bytes}; }

  const std::size_t bytes;
  const std::unique_ptr<std::uint64_t[]> memory;
  SHMSlices* const slices;
};

struct BlockExchange : testing::Test {
  BlockExchange() {
    queue.reset();
    attach(send, returns);
    for (unsigned c = 0; c < cMostChannels; ++c)
      channels[c] = samples[c];
    std::iota(std::begin(parameters), std::end(parameters), 0.0F);
  }

  void attach(Ring& toHost, Ring& fromHost) {
    exchange.attach(toHost.mapped(), fromHost.mapped(), queue, newData);
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
  SHMSliceBuffer& answer(Ring& ring, long long stamp, bool isReady = true) {
    SHMSliceBuffer& slice = *ring.mapped().advance(stamp);
    const LIPC::SliceSamples all = ring.mapped().samplesOf(slice);
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
  std::vector<std::int32_t> routing{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
  float samples[cMostChannels][1024];
  float* channels[cMostChannels];
  float parameters[AudioBlock::cMostParameters], returned[AudioBlock::cMostParameters];
};

TEST_F(BlockExchange, ABlockIsSentWholeWithItsSenderAndASecondOfItsStampReusesTheSlice) {
  for (const int count : {0, 1, 1024, 256}) {
    const long long stamp = 50'000 + 2000 * count;
    answer(returns, stamp - 4LL * count);
    fill(cBefore);
    exchange.send(block(stamp, count), setup());
    exchange.receive(block(stamp, count), setup(), false);
    const SHMSliceBuffer& slice = send->slices[send->currentSlice];
    EXPECT_EQ(slice.sampleCount, static_cast<unsigned>(count));
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
  EXPECT_EQ(send->slices[4].parameters[171], 171.0F);
  const long long stamps[] = {1000, 1000, 998, 1002, 1001, 1256, 1512, 1768, 2024, 2280};
  std::string newest;
  for (const long long stamp : stamps) {
    exchange.send(block(stamp), setup());
    newest += std::to_string(send->currentSlice);
    EXPECT_TRUE(stamp > 1000 || exchange.sentParameters(1000) == send->slices[5].parameters);
  }
  EXPECT_EQ(newest, "5555012345") << "one sample off is another block";
  EXPECT_EQ(exchange.sentParameters(1000), nullptr) << "round the ring";
  for (const int slot : {5, 0, 1}) {
    returns->slices[slot].ready = 1;
    exchange.stampReturnSlot(block(1000), setup());
    EXPECT_EQ(returns->currentSlice, slot) << "fresh always";
    EXPECT_EQ(sender(returns->slices[slot]), "1000" + who);
  }
}

TEST_F(BlockExchange, AnUnreadySlotYieldsItsParametersAMissingOneZerosAndAReadyOneWhatIsRouted) {
  sYields = 0;
  answer(returns, 9000, false);
  for (const bool mayPoll : {false, true}) {
    EXPECT_EQ(heard(2, 9000 + 1024, mayPoll), (Floats{0, 0}));
    EXPECT_EQ(returned[171], 3.0F);
    EXPECT_EQ(heard(2, 9001 + 1024, mayPoll), (Floats{0, 0}));
    EXPECT_EQ(returned[171], 0.0F);
  }
  EXPECT_EQ(sYields, 2 * 10);
  answer(returns, 9002);
  for (const int late : {1, 10, 11}) {
    SHMSliceBuffer& slice = answer(returns, 1000 * late, false);
    sYields = 0;
    sOnYield = [&] { slice.ready = sYields == late ? 1 : slice.ready; };
    EXPECT_EQ(heard(2, 1000 * late + 1024, true), late <= 10 ? (Floats{10, 11}) : (Floats{0, 0}));
    EXPECT_EQ(sYields, std::min(late, 10)) << "no look after the tenth yield's";
    sOnYield = nullptr;  // others yield too: LeakSanitizer does at the end
  }
  routing = {1, 0, -1, 2, 65536, INT_MIN, INT_MAX, 1};
  EXPECT_EQ(heard(9, 9000 + 1024), (Floats{11, 10, 0, 0, 0, 0, 0, 11, 0})) << "the ninth has none";
  EXPECT_EQ(samples[9][0], cBefore);
}

TEST_F(BlockExchange, ABlockBeyondTheLimitsIsNotAcceptableAndNullBuffersAreSilence) {
  const auto accepts = [&](int count, int inputs, int sent, int back) {
    return AudioBlock{channels, count, inputs, 0, parameters, sent, returned, back}.isAcceptable();
  };
  EXPECT_TRUE(accepts(0, 0, 0, 0) && accepts(1024, INT_MAX, 172, 172));
  for (const int bad : {-1, INT_MIN, INT_MAX})
    EXPECT_FALSE(accepts(bad, 0, 0, 0) || accepts(0, 0, bad, 0) || accepts(0, 0, 0, bad)) << bad;
  EXPECT_FALSE(accepts(1025, 0, 0, 0) || accepts(0, 0, 173, 0) || accepts(0, 0, 0, 173));
  EXPECT_FALSE(accepts(0, -1, 0, 0));

  answer(returns, 9000);
  fill(5.0F);
  exchange.send(block(10'024), setup());
  channels[0] = nullptr;
  for (float* const* some : {channels, static_cast<float**>(nullptr)}) {
    const AudioBlock bare{some, 256, 2, 10'024, nullptr, 172, nullptr, 172};
    exchange.send(bare, setup());
    const SHMSliceBuffer& slice = send->slices[1];
    EXPECT_EQ(slice.getChannelSamples(0)[0] + slice.parameters[171], 0.0F);
    EXPECT_EQ(slice.getChannelSamples(1)[0], some != nullptr ? 5.0F : 0.0F);
    exchange.receive(bare, setup(), false);
    EXPECT_EQ(samples[1][0], 11.0F) << "by the first of the two";
  }
  exchange.detach();
  exchange.send(block(1000), setup());
  exchange.stampReturnSlot(block(1000), setup());
  exchange.announce(1000);
  exchange.clearReturns();
  EXPECT_EQ(heard(2, 1000), (Floats{cBefore, 0})) << "the first has no buffer";
  EXPECT_FALSE(newData.try_wait());
}

TEST_F(BlockExchange, ARingIsBelievedOnlyAsFarAsItsMemoryReaches) {
  const int end = static_cast<int>(SHMSlices::sizeOfStruct(2)) - 8;  // as seen from slice 0
  struct Case {
    int offset, channelCount, index;
    Floats heard;  // outputs 0, 1, 11 and 12
  };
  // clang-format off
  for (const Case& c : {Case{4704, 2, 5, {10, 11, 0, 0}}, {4704, 65535, 5, {10, 11, 21, 0}},
                        {4704, 2, 77, {10, 11, 0, 0}},    {4704, 2, -5, {10, 11, 0, 0}},
                        {4703, 2, 5, {0, 0, 0, 0}},       {4700, 2, 5, {0, 0, 0, 0}},
                        {-4096, 2, 5, {0, 0, 0, 0}},      {INT_MIN, 2, 5, {0, 0, 0, 0}},
                        {end - 4096, 2, 5, {10, 0, 0, 0}}, {end - 4092, 2, 5, {0, 0, 0, 0}},
                        {end + 4, 2, 5, {0, 0, 0, 0}},    {INT_MAX, 2, 5, {0, 0, 0, 0}}}) {
    // clang-format on
    Ring toHost, fromHost;
    attach(toHost, fromHost);
    for (Ring* ring : {&toHost, &fromHost}) {
      (*ring)->currentSlice = c.index;  // the next is slice 0
      (*ring)->slices[0].samplesOffset = c.offset;
      (*ring)->slices[0].channelCount = static_cast<std::uint16_t>(c.channelCount);
    }
    exchange.send(block(10'024, 256, cMostChannels), setup(cMostChannels));
    answer(fromHost, 9000);
    const Floats all = heard(cMostChannels, 10'024);
    EXPECT_EQ((Floats{all[0], all[1], all[11], all[12]}), c.heard)
        << c.offset << " " << c.channelCount << " " << c.index;
  }
  std::mt19937 random(20);
  const auto below = [&](unsigned limit) { return static_cast<int>(random() % limit); };
  attach(send, returns);
  for (int round = 0; round < 500; ++round) {  // nor do any bytes lead out of it
    for (SHMSlices* ring : {send.slices, returns.slices}) {
      auto* words = reinterpret_cast<std::uint32_t*>(ring);
      std::generate_n(words, sizeof(SHMSlices) / sizeof *words, std::ref(random));
      for (SHMSliceBuffer& slice : ring->slices) {
        slice.timeStamp = 256 * (below(8) - 4) + below(5) - 2;
        if (below(2) == 0) slice.samplesOffset = below(60'000) & ~3;
      }
    }
    for (auto& entry : routing)
      entry = below(2) == 0 ? below(16) : static_cast<std::int32_t>(random());
    fill(cBefore);
    const AudioBlock wide = block(0, 1024 - below(2) * 768, cMostChannels);
    exchange.send(wide, setup(cMostChannels));
    exchange.receive(wide, setup(cMostChannels), false);
    exchange.stampReturnSlot(wide, setup(cMostChannels));
    exchange.clearReturns();
    EXPECT_EQ(samples[0][1023] == cBefore, wide.numSamples == 256) << round;
  }
}

}  // namespace
