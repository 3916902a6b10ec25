// SPDX-License-Identifier: BSL-1.0

// The audio thread's side of a client, in a session of its own. The host's answers are made by
// hand, through mappings of the test's own.
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using LIPC::ShmManagedOpen;
using namespace support;

constexpr unsigned cMostChannels = 8;
constexpr int cSamples = 256;
constexpr float cBefore = 5.0F;  // what a caller's buffers hold before a block

// The test's own callbacks do what no audio thread may.
LIPC_UNCHECKED_BEGIN

class AudioClient final : public TestClient {
 public:
  AudioClient() : TestClient("client") { setChannels(2); }
  ~AudioClient() override { stopLIPCSession(); }
  void setChannels(int channels) {
    configBeginEdit();
    configSetIOChannelCount(channels, channels);
    configEndEdit();
  }
  bool need2updatePreviousRTparamsCallback() override {
    const LIPC::DeliberateSystemCall outside;
    return onNeed();
  }
  int updatePreviousRTparamsCallback(float* parameters, int, int blocksBack) override {
    const LIPC::DeliberateSystemCall outside;
    return onAmend(parameters, blocksBack);
  }
  void updateDAWvaluesCallback(LIPC::SHM_Panner_DAW_Values* values, int status) override {
    statuses.push_back({status, values != nullptr});
    onValues();
  }

  std::function<void()> onValues = [] {};
  std::function<bool()> onNeed = [] { return false; };
  std::function<int(float*, int)> onAmend;
  std::vector<std::pair<int, bool>> statuses;  // and whether there were values
};

LIPC_UNCHECKED_END

/// What `trade` returns when so many outputs were silenced, and the rest left as they were.
std::vector<float> silent(unsigned outputs) {
  std::vector<float> firsts(cMostChannels, cBefore);
  std::fill_n(firsts.begin(), outputs, 0.0F);
  return firsts;
}

/// A client in a session whose host leaves queues and rings to the test, and its buffers.
struct ClientAudio : testing::Test {
  ClientAudio() {
    for (unsigned c = 0; c < cMostChannels; ++c)
      channels[c] = samples[c];
  }
  /// One block of buffers that held cBefore; the first sample of each.
  std::vector<float> trade(long long stamp, int count = cSamples, int inputs = cMostChannels,
                           int back = 172) {
    for (auto& channel : samples)
      std::fill(std::begin(channel), std::end(channel), cBefore);
    std::fill(std::begin(returned), std::end(returned), cBefore);
    client.processLIPC(channels, count, inputs, 0, stamp, parameters, 172, returned, back, true);
    std::vector<float> firsts;
    for (const auto& channel : samples)
      firsts.push_back(channel[0]);
    return firsts;
  }

  static host::HostOptions withoutAudio() {
    host::HostOptions options;
    options.faults.noAudio = true;
    return options;
  }

  TestHost host{withoutAudio()};
  AudioClient client;
  float samples[cMostChannels][2048];
  float* channels[cMostChannels];
  float parameters[172] = {1.0F};
  float returned[256];
};

TEST_F(ClientAudio, RefusedBlocksThoseDuringAnotherCallAndThoseOfSomeModesAreNotAnnounced) {
  ASSERT_TRUE(client.join());
  const ShmManagedOpen<LIPC::ClientBuffer> seen("client");
  const auto announced = [&] {
    int count = 0;
    for (std::int64_t stamp = 0; seen->newDataQueue.take(stamp);)
      ++count;
    return count;
  };
  for (const auto& [count, inputs, back] : {std::array{1025, 2, 0}, {16, -1, 0}, {16, 2, 173}}) {
    EXPECT_EQ(trade(1000, count, inputs, back), silent(2));
    EXPECT_TRUE(samples[1][count - 1] == 0.0F && samples[1][count] == cBefore);
    EXPECT_EQ(returned[back], cBefore);
  }
  EXPECT_EQ(trade(1000, -1), silent(0));
  client.onValues = [&] {
    EXPECT_EQ(trade(1000), silent(2)) << "the access semaphore is taken";
    EXPECT_EQ(returned[171], 0.0F);
  };
  client.updateDAWvaluesFromShMem();
  EXPECT_EQ(announced(), 0);
  for (const auto& [mode, expected] :
       {std::pair{1, 0}, {2, 1}, {3, 1}, {4, 1}, {1 | 4, 1}, {8, 0}, {0, 0}}) {
    client.configSetMode(static_cast<LIPC::eClientMode>(mode));
    trade(1000 + mode * cSamples);
    EXPECT_EQ(announced(), expected) << mode;
  }
  client.signalBufferAvailable(1000);
  EXPECT_EQ(announced(), 1) << "in every mode";

  LIPC::SHMSliceBuffer* slot = client.prepareReturnBuffer(50'000, 2, 64);
  EXPECT_TRUE(slot->ready == 0 && slot->sampleCount == 64U && slot->timeStamp == 50'000);
  slot->parameters[171] = slot->getChannelSamples(1)[1023] = 1.0F;
  client.clearReturnBuffers();
  EXPECT_EQ(slot->parameters[171] + slot->getChannelSamples(1)[1023], 0.0F);
}

TEST_F(ClientAudio, TheOneOrTwoBlocksBeforeCanBeAmendedWhileTheyAreThere) {
  ASSERT_TRUE(client.join());
  std::vector<int> asked;
  client.onNeed = [] { return true; };
  client.onAmend = [&](float* sentBefore, int blocksBack) {
    asked.push_back(blocksBack);
    sentBefore[0] += static_cast<float>(blocksBack * 10);
    return asked.size() < 6 ? 1 : 0;
  };
  std::vector<float> sent;
  for (int block = 0; block < 5; ++block)
    trade(10'000 + cSamples * block);
  for (int block = 0; block < 5; ++block)
    sent.push_back(client.getPreviousRTparams(10'000 + cSamples * block)[0]);
  EXPECT_EQ(asked, (std::vector<int>{1, 1, 2, 1, 2, 1}));
  EXPECT_EQ(sent, (std::vector<float>{31, 31, 11, 11, 1}));
}

#ifndef LIPC_CHECKED_AT_RUN_TIME  // an exception allocates
TEST_F(ClientAudio, AnExceptionFromACallbackEndsTheBlockAndTheClientRejoinsUnderItsID) {
  ASSERT_TRUE(client.join());
  client.onNeed = []() -> bool { throw std::runtime_error("on purpose"); };
  EXPECT_EQ(trade(1000), silent(0)) << "ended before its answer";
  client.onNeed = [] { return false; };
  ASSERT_TRUE(eventually(10s, [&] { return client.established == 2 && client.isConnected(); }));
  EXPECT_EQ(client.configGetClientID(), "client");
  EXPECT_EQ(trade(1512), silent(2));
}
#endif

TEST_F(ClientAudio, OutsideTheSessionBlocksTouchNothingAndThereAreNoPannerValues) {
  ASSERT_TRUE(client.join());
  client.updateDAWvaluesFromShMem();
  client.stopLIPCSession();
  EXPECT_EQ(trade(1000), silent(0));
  EXPECT_EQ(returned[0], cBefore);
  EXPECT_EQ(client.prepareSendBuffer(0, 2, 1), nullptr);
  client.updateDAWvaluesFromShMem();
  ASSERT_TRUE(LIPC::ShmManaged::removeIfPresent(LIPC::cPannerValuesSegment));
  ASSERT_TRUE(client.join());
  client.updateDAWvaluesFromShMem();
  EXPECT_EQ(client.statuses,
            (std::vector<std::pair<int, bool>>{{1, true}, {0, false}, {-1, false}}));
}

TEST_F(ClientAudio, WhatAHeldUpAudioThreadReadsStaysUntilItIsOut) {
  std::atomic<bool> held{false}, gate{false};
  client.onNeed = [&] { return !gate; };
  client.onAmend = [&](float* sentBefore, int) {
    held = true;
    eventually(30s, [&] {
      ++sentBefore[171];
      return gate.load();
    });
    return 0;
  };
  ASSERT_TRUE(client.join());
  // The block before is one of the fresh ring's slices, which are stamped 0.
  std::thread thread([&] { trade(cSamples); });
  EXPECT_TRUE(eventually(5s, [&] { return held.load(); }));
  client.setChannels(4);
  EXPECT_TRUE(eventually(5s, [&] { return !host.hasRow("client"); }));
  const int before = client.ticks;
  EXPECT_TRUE(eventually(5s, [&] { return client.ticks >= before + 4; })) << "some 300 ms";
  client.stopLIPCSession();
  EXPECT_TRUE(client.established == 1 &&
              ShmManagedOpen<LIPC::SHMSlices>("client-send").get() != nullptr);
  gate = true;
  thread.join();
  ASSERT_TRUE(client.join());
  EXPECT_EQ(ShmManagedOpen<LIPC::SHMSlices>("client-send")->slices[0].channelCount, 4);
}

TEST_F(ClientAudio, BlocksWithoutPauseGoWithEditsValuesAndRejoinsOfOtherThreads) {
  ASSERT_TRUE(client.join());
  std::atomic<bool> stop{false};
  std::thread audioThread([&] {
    for (long long stamp = 0; !stop; stamp += cSamples)
      trade(stamp);
  });
  std::thread otherThread([&] {
    for (int i = 0; !stop; ++i) {
      client.updateDAWvaluesFromShMem();
      client.setOfflineParameter(50, static_cast<float>(i));
      client.setString(1, std::to_string(i).c_str());
      client.getClientEntries(0);
      client.configGetClientID();
    }
  });
  testing::internal::CaptureStdout();  // overruns: blocks come faster than anybody reads them
  for (int round = 1; round <= 8; ++round) {
    const int before = client.established;
    client.configDisconnect(LIPC::ClientID("client"), LIPC::ClientID(std::to_string(round)));
    client.setChannels(round);
    client.syncClientConnections();
    if (round == 3) client.stopLIPCSession();
    client.startLIPCSession(0);
    EXPECT_TRUE(eventually(10s, [&] { return client.established > before; })) << round;
  }
  stop = true;
  otherThread.join();
  audioThread.join();
  testing::internal::GetCapturedStdout();
  EXPECT_GT(client.getProcessCallCount(), 100U);
  EXPECT_EQ(ShmManagedOpen<LIPC::SHMSlices>("client-send")->slices[0].channelCount, 8);
}

}  // namespace
