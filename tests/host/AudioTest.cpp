// Audio from client to host to client, with real processes.
#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <regex>

#include <gtest/gtest.h>

#include "lipc/session/ConnectionPool.h"
#include "lipc/util/SharedWord.h"
#include "tests/support/Process.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using namespace std::chrono_literals;
using support::eventually;
using support::Process;
using support::TestClient;
using support::TestHost;

constexpr std::streamsize cWavHeadBytes = 44;

struct Blocks {
  int exact = -1;
  int silent = -1;
  int wrong = -1;
};

/// A participant that sends a ramp to itself; see support/ramp.cpp.
class Ramp {
 public:
  Ramp(int channels, int blockSize)
      : process({LIPC_RAMP, "ramp", std::to_string(channels), std::to_string(blockSize)}) {
    EXPECT_TRUE(process.waitForLine("joined", 30s)) << process.output();
  }

  ~Ramp() {
    process.closeInput();  // it leaves
    process.wait(10s);
  }

  void start(const std::string& command) { process.send(command); }
  Blocks result(const std::string& command) {
    Blocks blocks;
    EXPECT_TRUE(process.waitForLine(command + " exact", 120s)) << process.output();
    std::sscanf(process.line().c_str() + command.size(), " exact %d silent %d wrong %d",
                &blocks.exact, &blocks.silent, &blocks.wrong);
    return blocks;
  }
  Blocks run(const std::string& command, int count) {
    start(command + " " + std::to_string(count));
    return result(command);
  }
  bool tell(const std::string& command) {
    start(command);
    return process.waitForLine(command.substr(0, command.find(' ')), 30s);
  }

  Process process;
};

/// A host in a process of its own, so that it can be stopped.
class HostProcess : public Process {
 public:
  HostProcess() : Process({LIPC_COMMAND, "host"}) {
    EXPECT_TRUE(waitForLine("Clients", 15s)) << output();
  }
};

class AudioOfBlockSize : public testing::TestWithParam<int> {};

TEST_P(AudioOfBlockSize, ComesBackSampleExactFourBlocksLaterThroughPermutedWires) {
  TestHost host;
  Ramp ramp(16, GetParam());
  const Blocks blocks = ramp.run("paced", 10'000);
  EXPECT_EQ(blocks.exact, 9'996);
  EXPECT_EQ(blocks.silent, 4) << "the first four blocks have no answer yet";
  EXPECT_EQ(blocks.wrong, 0);
  const auto counters = host->audioCounters();
  ASSERT_EQ(counters.size(), 1U);
  EXPECT_EQ(counters[0].counters.blocksIn, 10'000U);
  EXPECT_EQ(counters[0].counters.answered, 10'000U);
}

INSTANTIATE_TEST_SUITE_P(Samples, AudioOfBlockSize, testing::Values(64, 256, 1024),
                         testing::PrintToStringParamName());

TEST(Audio, OfAnOutputThatIsRoutedNowhereIsSilent) {
  TestHost host;
  Ramp ramp(2, 256);
  ASSERT_TRUE(ramp.tell("mute 1"));
  const Blocks blocks = ramp.run("paced", 100);
  EXPECT_EQ(blocks.exact, 96);
  EXPECT_EQ(blocks.wrong, 0);
}

TEST(Audio, OfAHostThatStopsForASecondIsSilentAndThenRightAgain) {
  HostProcess host;
  Ramp ramp(2, 256);
  ramp.start("clock 600");  // 3.2 s
  std::this_thread::sleep_for(1s);
  host.signal(SIGSTOP);
  std::this_thread::sleep_for(1s);
  host.signal(SIGCONT);
  const Blocks blocks = ramp.result("clock");
  EXPECT_EQ(blocks.wrong, 0) << "never an answer to another block";
  EXPECT_GE(blocks.silent, 100);
  EXPECT_GE(blocks.exact, 50);
  const Blocks after = ramp.run("paced", 100);
  EXPECT_GE(after.exact, 96);
  EXPECT_EQ(after.wrong, 0) << ramp.process.output();
}

TEST(Audio, OfAClientThatGrowsWhileItPlaysComesBackWithItsConnections) {
  TestHost host;
  Ramp ramp(2, 256);
  EXPECT_EQ(ramp.run("paced", 100).exact, 96);
  ASSERT_TRUE(ramp.tell("channels 8"));
  EXPECT_EQ(ramp.process.line(), "channels 8 wrong 0") << "nor was it before it was back";
  const Blocks blocks = ramp.run("paced", 100);
  EXPECT_GE(blocks.exact, 96);
  EXPECT_EQ(blocks.wrong, 0);
}

TEST(Audio, UnreadByTheHostFor64BlocksPrintsOneLineAndLosesOneNotice) {
  HostProcess host;
  Ramp ramp(2, 256);
  EXPECT_EQ(ramp.run("paced", 50).wrong, 0);
  host.signal(SIGSTOP);
  ramp.run("burst", 64);
  const std::string said = ramp.process.output();
  const std::size_t line = said.find("\n!!! SHMQueue overrun !!!\n");
  ASSERT_NE(line, std::string::npos) << said;
  EXPECT_EQ(said.find("overrun", line + 20), std::string::npos) << "63 blocks fit";
  host.signal(SIGCONT);
  ASSERT_TRUE(eventually(10s, [&] {  // it has read the queue before the next block comes
    host.signal(SIGUSR1);
    return host.waitForLine("   58        0  ramp", 500ms);
  })) << host.output();
  const Blocks after = ramp.run("paced", 50);
  EXPECT_EQ(after.wrong, 0);
  EXPECT_GE(after.exact, 45);
  host.signal(SIGUSR1);
  EXPECT_TRUE(host.waitForLine("   1  ramp", 10s)) << host.output();
}

/// The last level that a meter printed for its first channel; -200 when it printed none.
float peakOf(const std::string& output) {
  const std::regex level("1: rms +\\S+ dB, peak +(\\S+) dB");
  float peak = -200.0F;
  for (std::sregex_iterator it(output.begin(), output.end(), level), end; it != end; ++it)
    peak = std::stof((*it)[1]);
  return peak;
}

TEST(Audio, OfTwoTonesAddsUpInOneMeterOfAnotherBlockSize) {
  TestHost host;
  const std::string wav = testing::TempDir() + "heard.wav";
  Process meter({LIPC_EXAMPLES "/meter", "--channels", "1", "--block", "96", "--wav", wav});
  Process first({LIPC_EXAMPLES "/tone", "--id", "one", "--channels", "1"});
  Process second({LIPC_EXAMPLES "/tone", "--id", "two", "--channels", "1"});
  // Twice 0.2512: the clock that they share keeps them in phase.
  EXPECT_TRUE(eventually(30s, [&] {
    meter.waitForLine("peak", 2s);
    return std::abs(peakOf(meter.output()) - -5.98F) < 0.01F;
  })) << meter.output();
  first.signal(SIGINT);
  EXPECT_TRUE(eventually(30s, [&] {
    meter.waitForLine("peak", 2s);
    return std::abs(peakOf(meter.output()) - -12.0F) < 0.01F;
  })) << meter.output();
  meter.signal(SIGINT);
  EXPECT_EQ(meter.wait(10s), 0);
  std::ifstream file(wav, std::ios::binary);
  std::string head(cWavHeadBytes, ' ');
  file.read(head.data(), cWavHeadBytes);
  std::vector<float> samples(std::filesystem::file_size(wav) / sizeof(float));
  file.read(reinterpret_cast<char*>(samples.data()),
            std::streamsize(sizeof(float) * samples.size()));
  std::uint32_t bytes = 0;
  std::memcpy(&bytes, head.data() + cWavHeadBytes - sizeof bytes, sizeof bytes);
  EXPECT_EQ(bytes, file.gcount()) << "the length in the head";
  EXPECT_NEAR(*std::max_element(samples.begin(), samples.end()), 0.5024F, 0.001F);
  std::filesystem::remove(wav);
}

TEST(Audio, ThatComesTooLateForItsListenerIsCountedAsDropped) {
  TestHost host;
  TestClient source("source");
  TestClient target("target");
  for (TestClient* client : {&source, &target}) {
    client->configBeginEdit();
    client->configSetIOChannelCount(1, 1);
    if (client == &target) {
      client->configEditConnection(LIPC::ClientID("source"), LIPC::ClientID("target"))
          .addWire(0, 0);
    }
    client->configEndEdit();
    ASSERT_TRUE(client->join());
  }
  float samples[256] = {};
  float* channels[] = {samples};
  const auto send = [&](TestClient& client, long long stamp) {
    client.processLIPC(channels, 256, 1, 0, stamp, nullptr, 0, nullptr, 0, false);
  };
  const auto counts = [&](std::size_t client, std::uint64_t in, std::uint64_t answered,
                          std::uint64_t dropped) {
    return eventually(10s, [&] {
      const host::AudioCounters now = host->audioCounters().at(client).counters;
      return now.blocksIn == in && now.answered + now.late == answered && now.dropped == dropped;
    });
  };
  send(source, 0);
  EXPECT_TRUE(counts(0, 1, 1, 0));
  for (long long stamp = 0; stamp <= 1024; stamp += 256)
    send(target, stamp);
  EXPECT_TRUE(counts(1, 5, 2, 0)) << "0 is there, 256 is due, three wait for the source";
  send(source, 256);
  EXPECT_TRUE(counts(0, 2, 2, 1)) << "heard by nobody";
  send(source, 512);
  EXPECT_TRUE(counts(0, 3, 3, 1));
  EXPECT_TRUE(counts(1, 5, 3, 0)) << "512 waited";
}

TEST(Audio, OfEachClientIsCountedForPrograms) {
  Process host({LIPC_COMMAND, "host", "--json", "--counters", "0.2"});
  Process tone({LIPC_EXAMPLES "/tone", "--id", "A"});
  ASSERT_TRUE(tone.waitForLine("joined", 20s)) << tone.output();
  ASSERT_TRUE(host.waitForLine("\"blocksIn\":", 10s)) << host.output();
  EXPECT_NE(host.line().find("\"id\":\"A\""), std::string::npos) << host.line();
  EXPECT_NE(host.line().find("\"event\":\"audio\""), std::string::npos) << host.line();
}

TEST(Audio, OfAPannerReachesItsMixEngineByTheRuleAndStaysCutThroughTheRejoin) {
  std::optional<TestHost> host(std::in_place);
  Process mixer({LIPC_EXAMPLES "/meter", "--type", "VMIX", "--channels", "1", "--id", "mixer"});
  ASSERT_TRUE(mixer.waitForLine("joined", 20s));
  Process panner({LIPC_EXAMPLES "/panner"});
  ASSERT_TRUE(panner.waitForLine("joined, with 1 connections", 20s)) << panner.output();
  EXPECT_TRUE(eventually(30s, [&] {
    mixer.waitForLine("peak", 2s);
    return std::abs(peakOf(mixer.output()) - -12.04F) < 0.01F;
  })) << mixer.output();

  // A controller writes into its row.
  LIPC::storeRelaxed(host->session().getClientEntry("panner")->offlineParameters[110], 45.0F);
  EXPECT_TRUE(panner.waitForLine("parameter 110 is now 45", 5s)) << panner.output();

  {  // somebody cuts it in the session's own list
    boost::interprocess::managed_shared_memory pool(boost::interprocess::open_only,
                                                    LIPC::cConnectionPoolSegment);
    auto* list = pool.find<LIPC::SharedConnectionList>(LIPC::cConnectionListName).first;
    ASSERT_EQ(list->size(), 1U);
    LIPC::storeRelaxed(list->front().disconnectRequested, std::int32_t{1});
  }
  const auto isSilent = [&] {
    mixer.waitForLine("peak", 2s);
    return peakOf(mixer.output()) < -100.0F;
  };
  EXPECT_TRUE(eventually(30s, isSilent)) << mixer.output();
  host.reset();
  host.emplace();
  ASSERT_TRUE(panner.waitForLine("joined, with 1 connections", 20s)) << panner.output();
  ASSERT_TRUE(mixer.waitForLine("joined", 20s)) << mixer.output();
  const auto isAnswered = [&](const auto& client) { return client.counters.answered > 10; };
  EXPECT_TRUE(eventually(10s, [&] {
    const auto counters = (*host)->audioCounters();
    return std::count_if(counters.begin(), counters.end(), isAnswered) == 2;
  }));
  EXPECT_TRUE(isSilent() && isSilent() && isSilent()) << mixer.output();
}

TEST(Audio, OfOthersGoesOnWhileAClientWritesNonsenseIntoItsRings) {
  TestHost host;
  TestClient client("nonsense");
  client.configBeginEdit();
  client.configSetIOChannelCount(2, 2);
  client.configEditConnection(LIPC::ClientID("nonsense"), LIPC::ClientID("nonsense")).addWire(0, 0);
  client.configEndEdit();
  ASSERT_TRUE(client.join());
  Ramp ramp(2, 256);
  LIPC::ShmManagedOpen<LIPC::SHMSlices> send("nonsense-send");
  LIPC::ShmManagedOpen<LIPC::SHMSlices> returns("nonsense-return");
  LIPC::ShmManagedOpen<LIPC::ClientBuffer> buffer("nonsense");
  float silence[2][256] = {};
  float* channels[] = {silence[0], silence[1]};
  const auto spoil = [&](LIPC::SHMSlices& ring, int round) {
    LIPC::storeRelaxed(ring.currentSlice, round % 2 == 0 ? 77 : -3);
    for (LIPC::SHMSliceBuffer& slice : ring.slices) {
      LIPC::storeRelaxed(slice.channelCount, std::uint16_t{65535});
      LIPC::storeRelaxed(slice.sampleCount, std::uint32_t{1'000'000'000});
      LIPC::storeRelaxed(slice.samplesOffset, round % 3 == 0 ? -5000 : 1'000'000'000 + round);
      LIPC::storeRelaxed(slice.timeStamp,
                         round % 5 == 0 ? std::int64_t{-1} << 63 : std::int64_t{256} * round);
    }
  };
  for (int round = 1; round <= 200; ++round) {
    client.processLIPC(channels, 256, 2, 0, 256LL * round, nullptr, 0, nullptr, 0, false);
    spoil(*send.get(), round);
    spoil(*returns.get(), round);
    buffer->newDataQueue.queue[round % 64] = std::int64_t{-1} << (round % 64);
    LIPC::storeRelaxed(buffer->newDataQueue.queueWrite, round * 31 - 3000);
    client.signalBufferAvailable(256LL * round);
  }
  const Blocks blocks = ramp.run("paced", 200);
  EXPECT_EQ(blocks.exact, 196);
  EXPECT_EQ(blocks.wrong, 0);
}

}  // namespace
