// SPDX-License-Identifier: BSL-1.0

// lipc watch as its users call it, over the life of a session.
#include <regex>

#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using namespace support;
using nlohmann::json;

/// A watch whose lines are compared without their times.
struct Watching {
  explicit Watching(std::vector<std::string> arguments) : process(command(std::move(arguments))) {}
  static std::vector<std::string> command(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {LIPC_COMMAND, "watch"});
    return arguments;
  }
  std::string next() {
    if (!process.waitForLine("", 15s)) return "no line: " + process.output();
    const std::string line = process.line();
    const std::regex time("^[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3}  ");
    const std::regex isoTime(",\"time\":\"20[0-9-]{8}T[0-9:]{8}\\.[0-9]{3}Z\"");
    const std::regex beats("(heartbeat\":|stands still at |heartbeat )[0-9]+");
    for (const std::regex& each : {time, isoTime})
      if (std::regex_search(line, each))
        return std::regex_replace(std::regex_replace(line, each, ""), beats, "$01N");
    return line;
  }
  Process process;
};

TEST(Watch, TellsWhatIsThereAndWhatHappensAndGoesOnWithTheNextHost) {
  Watching all({"--json"});
  EXPECT_EQ(all.next(),
            "lipc: there is no session on this machine yet; waiting for one, until "
            "Ctrl-C");
  EXPECT_EQ(all.next(), R"({"format":"lipc-watch","version":1,"event":"watching"})");
  std::optional<TestHost> host(std::in_place);
  EXPECT_EQ(all.next(), R"({"event":"sessionThere","heartbeat":N})");
  {
    TestClient client("client", static_cast<int>(LIPC::cSettingsType));
    client.configBeginEdit();
    client.configEditConnection(LIPC::ClientID("client"), LIPC::ClientID("x\x1b")).addWire(0, 1);
    client.configEndEdit();
    ASSERT_TRUE(client.join());
    const std::string who = R"("index":0,"id":"client","name":"client","type":"VSet")";
    EXPECT_EQ(all.next(), R"({"event":"joined",)" + who + "}");
    EXPECT_EQ(all.next(), R"({"event":"connected","source":"client","target":"x\u001b",)"
                          R"("automatic":false,"wires":[[0,1]]})");
    Watching one({"client"}), other({"other"});
    EXPECT_EQ(one.next(), "session  it is there, heartbeat N");
    EXPECT_EQ(one.next(), "present  #0 client  \"client\"  VSet  0 in, 0 out");
    EXPECT_EQ(one.next(), "present  client -> x\\x1b  0>1");
    EXPECT_EQ(other.next(),
              "lipc: no client of the session has the ID \"other\" yet; waiting for "
              "it, until Ctrl-C");
    EXPECT_EQ(other.next(), "session  it is there, heartbeat N");
    client.setOfflineParameter(33, 2.5F);
    EXPECT_EQ(one.next(), "changed  #0 client  parameter 33 (DAWLinkControlSetting)  0 -> 2.5");
    EXPECT_EQ(all.next(), R"({"event":"changed",)" + who +
                              R"(,"parameter":33,"key":"DAWLinkControlSetting","before":0.0,)"
                              R"("after":2.5})");
    Process killed({LIPC_EXAMPLES "/tone", "--id", "killed"});
    EXPECT_TRUE(all.next().starts_with(R"({"event":"joined","index":1,"id":"killed")"));
    EXPECT_TRUE(all.next().starts_with(R"({"event":"connected","source":"killed")"));
    killed.signal(SIGKILL);
    EXPECT_TRUE(all.next().starts_with(R"({"event":"lost","index":1,"id":"killed")"));
    std::string next = all.next();
    // Where it was told as lost before its host freed the row.
    if (next.starts_with(R"({"event":"left","index":1,"id":"killed")")) next = all.next();
    EXPECT_TRUE(next.starts_with(R"({"event":"disconnected","source":"killed")")) << next;
    client.stopLIPCSession();
    EXPECT_EQ(one.next(), "left     #0 client");
    one.process.signal(SIGINT);
    EXPECT_EQ(one.process.wait(5s), 0);
    EXPECT_TRUE(all.next().starts_with(R"({"event":"left","index":0,"id":"client")"));
    EXPECT_TRUE(all.next().starts_with(R"({"event":"disconnected","source":"client")"));
  }
  host.reset();
  EXPECT_EQ(all.next(), R"({"event":"sessionGone"})");
  host.emplace();
  EXPECT_EQ(all.next(), R"({"event":"sessionThere","heartbeat":N})");
  all.process.signal(SIGTERM);
  EXPECT_EQ(all.process.wait(5s), 0);
}

TEST(Watch, TellsOfAHeartbeatThatIsLostAndOfAHostThatIsAnotherOne) {
  host::HostOptions options;
  options.faults.stallHeartbeat = true;
  std::optional<TestHost> host(std::in_place, options);
  (*host).session().heartbeat = 1000;
  Watching watching({});
  EXPECT_EQ(watching.next(), "session  it is there, heartbeat N");
  EXPECT_EQ(watching.next(), "host     lost its heartbeat, which stands still at N");
  host->session().heartbeat = 1001;
  EXPECT_EQ(watching.next(), "host     its heartbeat is back, at 1001");
  host->session().heartbeat = 7;
  EXPECT_EQ(watching.next(), "host     another one, or started again: heartbeat N -> 7");
  Process piped({"/bin/sh", "-c", LIPC_COMMAND " watch | head -n 1"});
  EXPECT_EQ(piped.wait(15s), 0) << "it ends when nobody reads";
}

}  // namespace
