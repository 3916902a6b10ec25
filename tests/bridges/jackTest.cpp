// SPDX-License-Identifier: BSL-1.0

// lipc jack between real servers and a session.
#include "tests/bridges/Jack.h"
#include "tests/support/TestHost.h"

namespace {

using namespace support;

/// The newest stamp that a client has sent.
long long newestStampOf(const std::string& id) {
  const LIPC::ShmManagedOpen<LIPC::SHMSlices> ring((id + "-send").c_str());
  return ring.get() == nullptr ? 0 : ring->slices[ring->currentIndex()].timeStamp;
}

std::string clockStringOf(TestHost& host, const std::string& id) {
  const LIPC::ClientEntry* const row = host.session().getClientEntry(id.c_str());
  return row == nullptr ? "" : std::string(row->strings[5].current());
}

Process tone(const std::string& target) {
  return Process({LIPC_EXAMPLES "/tone", "--to", target});
}

struct Bridge : Process {
  explicit Bridge(const std::string& server, const std::vector<std::string>& options = {})
      : Process(commandOf(server, options)) {}
  static std::vector<std::string> commandOf(const std::string& server,
                                            const std::vector<std::string>& options) {
    std::vector<std::string> command{LIPC_COMMAND, "jack", "--jack-server", server};
    command.insert(command.end(), options.begin(), options.end());
    return command;
  }
};

TEST(Jack, AToneIsAtJacksPortsSampleBySampleFourBlocksAfterItsStamps) {
  SKIP_WITHOUT_JACK();
  JackServer server("one", 48000, 256);
  ASSERT_TRUE(server.isUp());
  TestHost host;
  Bridge bridge("one", {"--autoconnect", "physical"});
  ASSERT_TRUE(bridge.waitForLine("1024 frames (21.3 ms) into the session and back", 10s))
      << bridge.output();
  EXPECT_EQ(clockStringOf(host, "jack").find("clock 48000 Hz, JACK one "), 0U);
  Process player = tone("jack");
  Recorder recorder("one", "lipc-jack:from_session_1");
  ASSERT_TRUE(recorder.isOpen());
  // The stamps are JACK's frames with more bits before them.
  const long long before = newestStampOf("jack");
  bool isExact = false;
  EXPECT_TRUE(eventually(15s, [&] {
    const Recorder::Heard heard = recorder.take(9600);
    if (heard.samples.empty()) return false;
    const auto first =
        before + static_cast<std::int32_t>(heard.frame - static_cast<std::uint32_t>(before));
    isExact = true;
    for (std::size_t i = 0; i < heard.samples.size(); ++i) {
      const float wanted = toneAt(first - 1024 + static_cast<long long>(i), 48000);
      isExact = isExact && std::abs(heard.samples[i] - wanted) < 1e-6F;
    }
    return isExact;
  })) << "a fifth of a second of it";
  EXPECT_EQ(recorder.captureLatency(), 1024U + 256)
      << "as JACK is told: the session's and the card's";
  EXPECT_EQ(recorder.connectionsOf("system:playback_2"), "lipc-jack:from_session_2");
  EXPECT_EQ(recorder.connectionsOf("lipc-jack:to_session_1"), "system:capture_1");

  Bridge second("one", {"--id", "second", "--connect", "jack", "--status"});
  ASSERT_TRUE(second.waitForLine("1024 frames", 10s)) << "no resampling on the same server";
  EXPECT_EQ(clockStringOf(host, "second"), clockStringOf(host, "jack"));
  EXPECT_TRUE(eventually(5s, [] {
    return newestStampOf("jack") != 0 && newestStampOf("jack") == newestStampOf("second");
  })) << "one clock";
  EXPECT_TRUE(second.waitForLine(" %, xruns ", 5s)) << second.output();

  Process told({LIPC_EXAMPLES "/meter", "--id", "told", "--clock", "second"});
  EXPECT_TRUE(eventually(10s, [] {
    return newestStampOf("told") != 0 &&
           std::abs(newestStampOf("told") - newestStampOf("second")) < 2048;
  })) << "the clock that it is told";
  Process waits({LIPC_EXAMPLES "/tone", "--clock", "nobody"});
  EXPECT_TRUE(waits.waitForLine("waiting for the clock of nobody", 10s));
  bridge.signal(SIGINT);
  EXPECT_EQ(bridge.wait(10s), 0);
}

TEST(Jack, TheBridgeLivesThroughOtherPeriodsTheServersEndAndTheHosts) {
  SKIP_WITHOUT_JACK();
  Bridge bridge("two");
  EXPECT_TRUE(bridge.waitForLine("waiting for the JACK server two: it does not run", 10s));
  EXPECT_TRUE(bridge.waitForLine("waiting for a session host: there is none", 10s));
  std::optional<TestHost> host(std::in_place);
  std::optional<JackServer> server(std::in_place, "two", 48000, 128);
  Process player = tone("jack");
  const auto isHeard = [](int period) {
    Recorder recorder("two", "lipc-jack:from_session_1", period);
    return eventually(10s, [&] {
      const Recorder::Heard heard = recorder.take(4800);
      return !heard.samples.empty() && std::abs(heard.peak() - cAmplitude) < 0.001;
    });
  };
  ASSERT_TRUE(bridge.waitForLine("512 frames (10.7 ms) into the session and back", 10s));
  EXPECT_TRUE(isHeard(128));
  EXPECT_TRUE(isHeard(2048));
  EXPECT_TRUE(bridge.waitForLine("periods of 2048 frames in 2 blocks of 1024", 5s));
  EXPECT_TRUE(bridge.waitForLine("4096 frames (85.3 ms)", 5s));
  EXPECT_TRUE(isHeard(8192));
  EXPECT_TRUE(bridge.waitForLine("12288 frames (256.0 ms)", 5s)) << "one by one";
  {
    Recorder recorder("two", "lipc-jack:from_session_1");
    recorder.connect("system:capture_2", "lipc-jack:to_session_2");
    std::this_thread::sleep_for(1500ms);  // the bridge looks twice a second
  }
  server.reset();
  EXPECT_TRUE(bridge.waitForLine("the JACK server two is gone", 10s));
  server.emplace("two", 48000, 256);
  EXPECT_TRUE(bridge.waitForLine("1024 frames (21.3 ms)", 10s)) << bridge.output();
  EXPECT_TRUE(isHeard(256)) << bridge.output();
  {
    Recorder recorder("two", "lipc-jack:from_session_1");
    EXPECT_EQ(recorder.connectionsOf("lipc-jack:to_session_2"), "system:capture_2");
  }
  host.reset();
  EXPECT_TRUE(bridge.waitForLine("left the session", 10s));
  host.emplace();
  EXPECT_TRUE(bridge.waitForLine("joined as jack", 10s)) << bridge.output();
  EXPECT_TRUE(isHeard(256)) << bridge.output();
  server.reset();
  server.emplace("two", 8000, 2);
  EXPECT_TRUE(
      bridge.waitForLine("periods of 2 frames: silence, since blocks of a session have", 10s));
}

TEST(Jack, ABridgeOnAnotherServerFollowsTheFirstOnesClock) {
  SKIP_WITHOUT_JACK();
  JackServer first("first", 48000, 256), other("other", 44100, 512);
  TestHost host;
  Bridge giver("first", {"--id", "giver"});
  ASSERT_TRUE(giver.waitForLine("into the session and back", 10s)) << giver.output();
  Bridge bridge("other", {"--status"});
  ASSERT_TRUE(bridge.waitForLine("follows the clock of giver (48000 Hz), resampled", 10s));
  ASSERT_TRUE(bridge.waitForLine("resampling adds", 10s)) << bridge.output();
  EXPECT_EQ(clockStringOf(host, "jack"), "follows giver");
  Process player = tone("jack");
  Recorder recorder("other", "lipc-jack:from_session_1");
  double frequency = 0, peak = 0;
  EXPECT_TRUE(eventually(15s,
                         [&] {
                           const Recorder::Heard heard = recorder.take(4410);
                           if (heard.samples.empty()) return false;
                           frequency = heard.frequency(44100);
                           peak = heard.peak();
                           return std::abs(frequency - cTone) < 2 &&
                                  std::abs(peak - cAmplitude) < 0.002;
                         }))
      << frequency << " Hz, " << peak;
  EXPECT_TRUE(bridge.waitForLine(" ppm, fill ", 5s)) << bridge.output();
  giver.signal(SIGINT);
  EXPECT_TRUE(bridge.waitForLine("giver gives that clock no longer", 15s)) << bridge.output();
  EXPECT_TRUE(eventually(
      5s, [&] { return clockStringOf(host, "jack").find("clock 44100 Hz, JACK other ") == 0; }));
}

TEST(Jack, ABridgeThatIsKilledAndStartedAgainTakesItsIDBackWithItsConnections) {
  SKIP_WITHOUT_JACK();
  JackServer server("again", 48000, 256);
  TestHost host;
  Process player = tone("nobody");
  const std::vector<std::string> options{"--connect", "tone"};
  std::optional<Bridge> bridge(std::in_place, "again", options);
  ASSERT_TRUE(bridge->waitForLine("into the session and back", 10s));
  bridge->signal(SIGKILL);
  bridge->wait(10s);
  bridge.emplace("again", options);
  ASSERT_TRUE(bridge->waitForLine("since another client has the ID jack", 10s));
  EXPECT_TRUE(bridge->waitForLine("joined as jack", 15s)) << bridge->output();
  Recorder recorder("again", "lipc-jack:from_session_1");
  EXPECT_TRUE(eventually(10s, [&] {
    const Recorder::Heard heard = recorder.take(4800);
    return !heard.samples.empty() && std::abs(heard.peak() - cAmplitude) < 0.001;
  })) << bridge->output();
}

TEST(Jack, WhatCannotBeIsRefusedInASentence) {
  SKIP_WITHOUT_JACK();
  JackServer server("few", 8000, 2);
  const auto expect = [](const std::vector<std::string>& options, int status, const char* said) {
    Bridge bridge("few", options);
    EXPECT_TRUE(bridge.waitForLine(said, 10s)) << bridge.output();
    EXPECT_EQ(bridge.wait(10s), status);
  };
  expect({}, 1,
         "lipc: The JACK server few has periods of 2 frames, and blocks of a session have 3");
  expect({"--in", "0", "--out", "0"}, 2, "a bridge has at least one channel");
  expect({"--connect", "jack"}, 2, "that is this client's own ID");
  expect({"--clock", "jack"}, 2, "that is this client's own ID");
  expect({"--id", "a/b"}, 2, "an ID has no slash");
  expect({"--id", std::string(65, 'x')}, 2, "an ID has 1 to 64 bytes");
  expect({"--type", "LONGER"}, 2, "a type has four characters");
  expect({"--autoconnect", "all"}, 2, "physical");
  expect({"--help"}, 0, "lipc jack [OPTIONS]");
}

}  // namespace
