// SPDX-License-Identifier: BSL-1.0

// What the examples say and how they end.
#include "tests/support/Process.h"
#include "tests/support/TestHost.h"

namespace {

using namespace support;

TEST(Examples, RefuseWhatTheyCannotDoWithAStatus) {
  const auto expect = [](const std::vector<std::string>& command, int status, const char* said) {
    Process process(command);
    EXPECT_TRUE(process.waitForLine(said, 10s)) << process.output();
    EXPECT_EQ(process.wait(10s), status) << command[1];
  };
  expect({LIPC_EXAMPLES "/tone", "--channels", "33"}, 2, "--channels: Value 33 not in range");
  expect({LIPC_EXAMPLES "/tone", "--block", "2"}, 2, "--block: Value 2 not in range");
  expect({LIPC_EXAMPLES "/tone", "--help"}, 0, "Sends sine waves to another client");
  expect({LIPC_EXAMPLES "/meter", "--type", "ABC"}, 2, "--type: a type has four characters");
  expect({LIPC_EXAMPLES "/meter", "--wav", "/no/folder"}, 1,
         "meter: \"/no/folder\" cannot be written: No such file or directory");
}

TEST(Examples, SayForWhatTheyWaitAndEndWithStatus1WhereTheyNeverJoined) {
  host::HostOptions forbids, holds, newer;
  forbids.faults.noConnect = holds.faults.holdLock = true;
  newer.protocolVersion = LIPC::cProtocolVersion + 1;
  const std::pair<const host::HostOptions*, std::string> cases[] = {
      {nullptr, "there is none. Start one, or ./run: "},
      {&forbids, "the one that is there forbids joins"},
      {&holds, "the one that is there lets nobody in. What is wrong with it: "},
      {&newer, "the one that is there has a newer protocol version"}};
  for (const auto& [options, reason] : cases) {
    std::optional<TestHost> host;
    if (options != nullptr) host.emplace(*options);
    Process tone({LIPC_EXAMPLES "/tone", "--seconds", "2"});
    EXPECT_TRUE(tone.waitForLine("waiting for a host: " + reason, 5s)) << tone.output();
    EXPECT_TRUE(tone.waitForLine("tone: never joined a session: " + reason, 5s)) << tone.output();
    EXPECT_EQ(tone.wait(10s), 1);
  }
}

TEST(Examples, SayUnderWhichIDTheyJoinedWhoIsMissingAndHowManyBlocksAreLost) {
  host::HostOptions deaf;
  deaf.faults.noAudio = true;
  TestHost host(deaf);
  Process tone({LIPC_EXAMPLES "/tone", "--to", "x", "--seconds", "4"});
  ASSERT_TRUE(tone.waitForLine("joined as tone", 10s));
  EXPECT_TRUE(tone.waitForLine("nobody has the ID x", 5s)) << tone.output();
  Process again({LIPC_EXAMPLES "/tone", "--to", "tone"});
  EXPECT_TRUE(again.waitForLine("since another client has the ID tone", 10s)) << again.output();
  Process panner({LIPC_EXAMPLES "/panner"});
  EXPECT_TRUE(panner.waitForLine("again: " LIPC_EXAMPLES "/meter --type VMIX", 10s));
  EXPECT_TRUE(tone.waitForLine("blocks lost: the host does not read them", 5s)) << tone.output();
  EXPECT_EQ(tone.wait(10s), 0);
  while (tone.waitForLine("", 0ms))
    continue;
  EXPECT_EQ(tone.output().find("overrun"), std::string::npos) << tone.output();
}

TEST(Examples, AsFastAsTheyGoWaitForTheHostAndForItsReading) {
  Process tone({LIPC_EXAMPLES "/tone", "--to", "tone", "--speed", "0"});
  ASSERT_TRUE(tone.waitForLine("waiting for a host", 10s));
  TestHost host;
  ASSERT_TRUE(host.waitFor(TestHost::Kind::eJoined, "tone", 10s));
  host::AudioCounters counters;
  EXPECT_TRUE(eventually(15s,
                         [&] {
                           for (const auto& client : host->audioCounters())
                             counters = client.counters;
                           return counters.blocksIn > 3000;
                         }))
      << counters.blocksIn << " blocks, where 16 seconds of sound have 3000";
  EXPECT_EQ(counters.dropped + counters.overruns, 0U);
  tone.signal(SIGTERM);
  EXPECT_EQ(tone.wait(10s), 0);
}

}  // namespace
