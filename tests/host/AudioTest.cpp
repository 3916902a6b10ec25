// SPDX-License-Identifier: BSL-1.0

// Audio from client to host to client, with real processes.

#include "lipc/session/ConnectionPool.h"
#include "lipc/session/ShmPtr.h"
#include "lipc/util/SharedWord.h"
#include "tests/support/Process.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using LIPC::ClientID;
using namespace support;

constexpr int cMostChannels = 16;
constexpr int cLatencyBlocks = 4;

/// Sends a ramp to itself through wires that swap its channels by pairs, and looks at every sample
/// that comes back: its value says which channel and which moment it is of.
class Ramp final : public TestClient {
 public:
  /// What came back, counted in blocks.
  struct Blocks {
    int exact = 0, silent = 0, wrong = 0;
  };

  Ramp(int channels, int blockSize)
      : TestClient("ramp"),
        mBlockSize(blockSize),
        mAudio(cMostChannels, std::vector<float>(static_cast<std::size_t>(blockSize))) {
    LIPC::Connection& wires = configEditConnection(ClientID("ramp"), ClientID("ramp"));
    for (int output = 0; output < cMostChannels; ++output)
      wires.addWire(output ^ 1, output);
    setChannels(channels);
    setAutoConnectLoopDurationMS(500);  // a stopped host may take its time
    EXPECT_TRUE(join(30s));
  }
  ~Ramp() override { stopLIPCSession(); }

  void setChannels(int channels) {
    configBeginEdit();
    configSetIOChannelCount(mChannels = channels, channels);
    configEndEdit();
  }
  /// `isPaced`: each is sent when the one before was answered.
  Blocks send(int blocks, bool isPaced = true) {
    const LIPC::ShmManagedOpen<LIPC::SHMSlices> returns("ramp-return");
    Blocks counts;
    for (int block = 0; block < blocks; ++block) {
      trade(counts);
      const LIPC::SHMSliceBuffer* slot = returns->getSliceWithTime(mStamp);
      const auto isAnswered = [&] { return LIPC::loadAcquire(slot->ready) != 0; };
      EXPECT_TRUE(!isPaced || eventually(20s, isAnswered));
    }
    return counts;
  }
  /// Plays on while it changes, until it is back.
  Blocks changeChannels(int channels) {
    const int before = established;
    Blocks counts;
    setChannels(channels);
    EXPECT_TRUE(eventually(30s, [&] {
      trade(counts, std::min(channels, 2));
      return established > before && isConnected();
    }));
    mStamp += cLatencyBlocks * mBlockSize;  // a rejoin begins with silence
    return counts;
  }

 private:
  /// Whole numbers below 2^24 are exact. 0 is none of them.
  static float sampleOf(int channel, long long t) {
    return static_cast<float>((t % 1'000'000) * cMostChannels + channel + 1);
  }
  void trade(Blocks& counts, int channels = cMostChannels) {
    mStamp += mBlockSize;
    float* pointers[cMostChannels];
    for (int c = 0; c < cMostChannels; ++c) {
      pointers[c] = mAudio[static_cast<std::size_t>(c)].data();
      for (int i = 0; i < mBlockSize; ++i)
        pointers[c][i] = sampleOf(c, mStamp + i);
    }
    processLIPC(pointers, mBlockSize, mChannels, 0, mStamp, nullptr, 0, nullptr, 0, false);
    if (pointers[0][0] == sampleOf(0, mStamp)) return;  // it is out of the session
    bool isExact = true, isSilent = true;
    for (int c = 0; c < std::min(channels, mChannels); ++c) {
      for (int i = 0; i < mBlockSize; ++i) {
        const float due = sampleOf(c ^ 1, mStamp - cLatencyBlocks * mBlockSize + i);
        isExact = isExact && pointers[c][i] == due;
        isSilent = isSilent && pointers[c][i] == 0.0F;
      }
    }
    ++(isExact ? counts.exact : isSilent ? counts.silent : counts.wrong);
  }

  const int mBlockSize;
  int mChannels = 0;
  long long mStamp = 0;
  std::vector<std::vector<float>> mAudio;
};

/// The host's counters of each client, compared as it prints them.
class CountingHost : public Process {
 public:
  CountingHost() : Process({LIPC_COMMAND, "host", "--json"}) {
    EXPECT_TRUE(waitForLine("clients", 15s)) << output();
  }
  /// Asks until they are so.
  bool counts(const std::string& expected) {
    return eventually(20s, [&] {
      signal(SIGUSR1);
      return waitForLine(R"({"event":"audio","clients":[{"id":"ramp",)" + expected + "}]}", 300ms);
    });
  }
};

class AudioOfBlockSize : public testing::TestWithParam<int> {};

TEST_P(AudioOfBlockSize, ComesBackSampleExactFourBlocksLaterThroughSwappedWiresAndGrows) {
  TestHost host;
  Ramp ramp(2, GetParam());
  EXPECT_EQ(ramp.send(200).exact, 196) << "the first four blocks have no answer yet";
  EXPECT_EQ(ramp.changeChannels(16).wrong, 0);
  const Ramp::Blocks blocks = ramp.send(1500);
  EXPECT_GE(blocks.exact, 1496);
  EXPECT_EQ(blocks.wrong, 0);
  EXPECT_EQ(host->connections().size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Samples, AudioOfBlockSize, testing::Values(64, 256, 1024),
                         testing::PrintToStringParamName());

TEST(Audio, OfAHostThatStopsIsSilentNeverWrongAndEachOfItsBlocksIsCountedOnce) {
  CountingHost host;
  Ramp ramp(2, 256);
  const auto whileStopped = [&](int blocks) {
    host.signal(SIGSTOP);
    const Ramp::Blocks back = ramp.send(blocks, false);
    host.signal(SIGCONT);
    EXPECT_EQ(back.wrong, 0);
    return back.silent;
  };
  EXPECT_EQ(ramp.send(3).silent, 3);
  EXPECT_TRUE(host.counts(R"("blocksIn":3,"answered":3,"late":0,"dropped":0,"overruns":0)"));
  // The client looks for the first of five blocks when it has sent the fifth.
  EXPECT_EQ(whileStopped(5), 2);
  EXPECT_TRUE(host.counts(R"("blocksIn":8,"answered":7,"late":1,"dropped":0,"overruns":0)"));
  EXPECT_EQ(whileStopped(8), 4);  // a ring holds six
  EXPECT_TRUE(host.counts(R"("blocksIn":14,"answered":11,"late":3,"dropped":2,"overruns":0)"));
  testing::internal::CaptureStdout();
  EXPECT_EQ(whileStopped(66), 62);  // a queue holds 63
  EXPECT_EQ(testing::internal::GetCapturedStdout().size(),
            3 * std::strlen("\n!!! SHMQueue overrun !!!\n"));
  EXPECT_TRUE(host.counts(R"("blocksIn":17,"answered":12,"late":5,"dropped":62,"overruns":0)"));
  ramp.send(1);
  EXPECT_TRUE(host.counts(R"("blocksIn":18,"answered":13,"late":5,"dropped":62,"overruns":3)"));
  const Ramp::Blocks after = ramp.send(40);
  EXPECT_TRUE(after.wrong == 0 && after.exact >= 36) << after.exact;
  EXPECT_TRUE(host.counts(R"("blocksIn":58,"answered":53,"late":5,"dropped":62,"overruns":3)"));
}

/// A block of two channels that hold these values; the first samples of what comes back.
std::vector<float> traded(TestClient& client, long long stamp, float first = 0, float second = 0) {
  float samples[2][256];
  float* channels[] = {samples[0], samples[1]};
  std::fill_n(samples[0], 256, first);
  std::fill_n(samples[1], 256, second);
  client.processLIPC(channels, 256, 2, 0, stamp, nullptr, 0, nullptr, 0, false);
  return {samples[0][0], samples[1][0]};
}

/// Two clients that both have a connection from one to the other.
struct Pair {
  Pair() {
    for (TestClient* client : {&source, &target}) {
      client->configBeginEdit();
      client->configSetIOChannelCount(2, 2);
      client->configEditConnection(ClientID("source"), ClientID("target")).addWire(0, 0);
      client->configEndEdit();
      EXPECT_TRUE(client->join());
    }
  }
  TestHost host;
  TestClient source{"source"};
  TestClient target{"target", static_cast<int>(LIPC::cMixEngineType)};
};

TEST(Audio, GoesOverTheWiresOfTheLastRejoinWhileTheOtherEndHoldsTheConnection) {
  Pair pair;
  long long stamp = 0;
  const auto hears = [&](const std::vector<float>& expected) {
    return eventually(20s, [&] {
      stamp += 256;
      traded(pair.source, stamp, 1, 2);
      return traded(pair.target, stamp) == expected;
    });
  };
  EXPECT_TRUE(hears({1, 0}));
  EXPECT_TRUE(eventually(10s, [&] { return pair.target.peers == 1; }));
  for (const auto& [client, other, first, second, expected] :
       {std::tuple{&pair.source, &pair.target, 1, 0, std::vector<float>{2, 1}},
        {&pair.target, &pair.source, 0, 1, {1, 2}}}) {
    client->configBeginEdit();
    LIPC::Connection& wires = client->configEditConnection(ClientID("source"), ClientID("target"));
    wires.clearWires();
    wires.addWire(first, 0);
    wires.addWire(second, 1);
    client->configEndEdit();
    EXPECT_TRUE(eventually(10s, [&, joining = client] { return joining->established == 2; }));
    EXPECT_TRUE(hears(expected));
    EXPECT_EQ(pair.host->connections().size(), 1U);
    EXPECT_EQ(other->removed, expected[0] == 2 ? 0 : 1);
  }
  pair.target.configGetOutputRouting() = {-1, 0};
  EXPECT_TRUE(hears({0, 1}));
  pair.source.stopLIPCSession();
  EXPECT_EQ(pair.host->connections().size(), 1U) << "the target still holds it";
  pair.target.stopLIPCSession();
  EXPECT_TRUE(pair.host->connections().empty());
}

TEST(Audio, ThatComesTooLateForItsListenerIsCountedAsDropped) {
  Pair pair;
  const auto counts = [&](std::size_t client, std::uint64_t in, std::uint64_t answered,
                          std::uint64_t dropped) {
    return eventually(10s, [&] {
      const host::AudioCounters now = pair.host->audioCounters().at(client).counters;
      return now.blocksIn == in && now.answered + now.late == answered && now.dropped == dropped;
    });
  };
  traded(pair.source, 0);
  EXPECT_TRUE(counts(0, 1, 1, 0));
  for (long long stamp = 0; stamp <= 1024; stamp += 256)
    traded(pair.target, stamp);
  EXPECT_TRUE(counts(1, 5, 2, 0)) << "0 is there, 256 is due, three wait for the source";
  traded(pair.source, 256);
  EXPECT_TRUE(counts(0, 2, 2, 1)) << "heard by nobody";
  traded(pair.source, 512);
  EXPECT_TRUE(counts(0, 3, 3, 1));
  EXPECT_TRUE(counts(1, 5, 3, 0)) << "512 waited";
}

TEST(Audio, OfTwoWhoCountDifferentClocksIsSaidOnceToBeHeardByNobody) {
  Pair pair;
  const std::string apart = "target hears nothing of source: their stamps lie ";
  long long stamp = 0;
  const auto saidWithin = [&](std::chrono::milliseconds limit, long long ahead) {
    const std::string before = pair.host.notes();
    return eventually(limit, [&] {
      stamp += 256;
      traded(pair.source, stamp);
      traded(pair.target, stamp + ahead);
      return pair.host.notes().find(apart, before.size()) != std::string::npos;
    });
  };
  EXPECT_FALSE(saidWithin(1500ms, 100'000));
  EXPECT_TRUE(saidWithin(10s, 200'000));
  EXPECT_FALSE(saidWithin(1500ms, 300'000)) << "once is enough";
  EXPECT_FALSE(saidWithin(1500ms, 0));
  EXPECT_TRUE(saidWithin(10s, -200'000));
}

/// Waits until the meter's whole line shows these peaks, for a sine; where blocks come late, the
/// power is less.
bool shows(Process& meter, float first, float second) {
  return eventually(30s, [&] {
    float rms[2], peak[2];
    int length = 0;
    meter.waitForLine("peak", 2s);
    std::sscanf(meter.line().c_str(), "1: rms %f dB, peak %f dB   2: rms %f dB, peak %f dB%n", rms,
                peak, rms + 1, peak + 1, &length);
    return length == static_cast<int>(meter.line().size()) && std::abs(peak[0] - first) < 0.011F &&
           std::abs(peak[1] - second) < 0.011F && rms[0] < first - 3 && rms[0] > first - 9;
  });
}

TEST(Audio, OfTwoTonesAddsUpInOneMeterOfAnotherBlockSize) {
  TestHost host;
  const std::string wav = testing::TempDir() + "heard.wav";
  Process meter({LIPC_EXAMPLES "/meter", "--channels", "2", "--block", "96", "--wav", wav});
  Process first({LIPC_EXAMPLES "/tone", "--id", "one", "--channels", "2"});
  Process second({LIPC_EXAMPLES "/tone", "--id", "two", "--channels", "1"});
  // The clock that they share keeps them in phase.
  EXPECT_TRUE(shows(meter, -5.98F, -12)) << meter.output();
  first.signal(SIGINT);
  EXPECT_EQ(first.wait(10s), 0);
  EXPECT_TRUE(first.waitForLine("leaving", 1s));
  EXPECT_EQ(first.output(), "joined as one\nleaving\n");
  EXPECT_TRUE(shows(meter, -12, -144)) << meter.output();
  EXPECT_TRUE(meter.waitForLine("   2: rms    -inf dB, peak -144.00 dB", 10s));
  meter.signal(SIGINT);
  EXPECT_EQ(meter.wait(10s), 0);

  std::ifstream file(wav, std::ios::binary);
  std::uint32_t head[11];
  file.read(reinterpret_cast<char*>(head), sizeof head);
  const auto bytes = static_cast<std::uint32_t>(std::filesystem::file_size(wav) - sizeof head);
  // RIFF, WAVE, "fmt " of 16 bytes, floats in 2 channels, 48000 frames of 8 bytes a second, data.
  // clang-format off
  const std::uint32_t expected[11] = {0x46464952, bytes + 36, 0x45564157, 0x20746D66, 16, 0x00020003,
                                      48000, 384000, 0x00200008, 0x61746164, bytes};
  // clang-format on
  EXPECT_TRUE(std::equal(head, head + 11, expected)) << testing::PrintToString(head);
  std::vector<float> samples(bytes / sizeof(float));
  file.read(reinterpret_cast<char*>(samples.data()), bytes);
  EXPECT_NEAR(*std::max_element(samples.begin(), samples.end()), 0.5024F, 0.001F);
  std::filesystem::remove(wav);
}

TEST(Audio, OfAPannerReachesItsMixEngineByTheRuleAndStaysCutThroughTheRejoin) {
  std::optional<TestHost> host(std::in_place);
  Process mixer({LIPC_EXAMPLES "/meter", "--type", "VMIX", "--id", "mixer"});
  ASSERT_TRUE(mixer.waitForLine("joined", 20s));
  Process panner({LIPC_EXAMPLES "/panner"});
  ASSERT_TRUE(panner.waitForLine("connections: 1", 20s)) << panner.output();
  EXPECT_TRUE(shows(mixer, -12.04F, -144)) << mixer.output();

  LIPC::ClientEntry& row = *host->session().getClientEntry("panner");
  EXPECT_EQ(row.offlineParameters[111], 30.0F);
  EXPECT_EQ(row.strings[5].current(), "Violin");
  LIPC::storeRelaxed(row.offlineParameters[110], 45.0F);  // as a controller does
  EXPECT_TRUE(panner.waitForLine("parameter 110 is now 45", 5s)) << panner.output();
  // Somebody cuts it in the session's own list.
  const LIPC::ShmPtr<LIPC::SharedConnectionList> list(LIPC::cConnectionListName);
  LIPC::storeRelaxed(list.ptr->front().disconnectRequested, std::int32_t{1});
  const std::string silence =
      "1: rms    -inf dB, peak -144.00 dB   2: rms    -inf dB, peak -144.00 dB";
  EXPECT_TRUE(mixer.waitForLine(silence, 30s)) << mixer.output();
  host.reset();
  host.emplace();
  ASSERT_TRUE(panner.waitForLine("connections: 1", 20s)) << panner.output();
  ASSERT_TRUE(mixer.waitForLine("joined", 20s)) << mixer.output();
  EXPECT_TRUE(eventually(10s, [&] {
    const auto counters = (*host)->audioCounters();
    return counters.size() == 2 && counters[0].counters.answered > 10 &&
           counters[1].counters.answered > 10;
  }));
  for (int line = 0; line < 3; ++line)
    EXPECT_TRUE(mixer.waitForLine("peak", 30s) && mixer.line() == silence) << mixer.line();
}

TEST(Audio, OfOthersGoesOnWhileAClientWritesNonsenseIntoItsRings) {
  Pair pair;
  Ramp ramp(2, 256);
  LIPC::ShmManagedOpen<LIPC::SHMSlices> send("source-send"), returns("source-return");
  LIPC::ShmManagedOpen<LIPC::ClientBuffer> buffer("source");
  testing::internal::CaptureStdout();  // overruns
  bool isRead = true;
  for (int round = 1; isRead && round <= 200; ++round) {
    traded(pair.source, 256LL * round);
    for (LIPC::SHMSlices* ring : {send.get(), returns.get()}) {
      LIPC::storeRelaxed(ring->currentSlice, round % 2 == 0 ? 77 : -3);
      for (LIPC::SHMSliceBuffer& slice : ring->slices) {
        LIPC::storeRelaxed(slice.channelCount, std::uint16_t{65535});
        LIPC::storeRelaxed(slice.sampleCount, std::uint32_t{1'000'000'000});
        LIPC::storeRelaxed(slice.samplesOffset, round % 3 == 0 ? -5000 : 1'000'000'000 + round);
        LIPC::storeRelaxed(slice.timeStamp, std::int64_t{256} * round - (round % 5 << 28));
      }
    }
    LIPC::ValueQueue& queue = buffer->newDataQueue;
    for (int i = 0; i < 64; ++i)
      queue.queue[i] = i % 2 == 0 ? 256LL * round : std::int64_t{-1} << ((round + i) % 64);
    LIPC::storeRelaxed(queue.queueWrite, round * 31 - 3000);
    pair.source.signalBufferAvailable(256LL * round);
    isRead = eventually(10s, [&] { return queue.size() == 0; });
  }
  testing::internal::GetCapturedStdout();
  EXPECT_TRUE(isRead) << "the host takes all of it";
  EXPECT_EQ(ramp.send(200).exact, 196);
}

}  // namespace
