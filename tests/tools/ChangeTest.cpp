// SPDX-License-Identifier: BSL-1.0

// The subcommands that change a session, each against a host and clients in this process.
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using LIPC::ClientID;
using LIPC::Connection;
using nlohmann::json;
using namespace support;

struct Change : testing::Test {
  Change() {
    source.configBeginEdit();
    source.configSetIOChannelCount(2, 1);
    source.configEndEdit();
    target.configBeginEdit();
    target.configSetIOChannelCount(0, 3);
    target.configEndEdit();
    EXPECT_TRUE(source.join() && target.join());
  }

  /// Runs to its end and expects this status.
  std::string lipc(int status, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), LIPC_COMMAND);
    Process process(std::move(arguments));
    process.waitForLine("a line that never comes", 40s);
    EXPECT_EQ(process.wait(5s), status) << process.output();
    return process.output();
  }
  Connection listed() {
    const auto all = host->connections();
    return all.size() == 1 ? all[0] : Connection::mscNull;
  }
  /// Nobody but these two.
  bool areAlone() {
    return host.session().getClientEntriesCount(0) == 2 && host.hasRow("a") && host.hasRow("b");
  }
  static bool hasWire(const Connection& connection, int from, int to) {
    return connection.getWiredChannel(from, Connection::eSourceSide) == to;
  }

  TestHost host;
  TestClient source{"a"}, target{"b"};
};

TEST_F(Change, WithoutATerminalNothingIsChangedUnlessItSaysYes) {
  for (const std::vector<std::string>& change : {std::vector<std::string>{"set", "a", "7", "1"},
                                                 {"string", "a", "1", "x"},
                                                 {"connect", "a", "b"},
                                                 {"kick", "a"}}) {
    EXPECT_NE(lipc(10, change).find("lipc: nothing was changed: standard input is no terminal"),
              std::string::npos);
  }
  lipc(12, {"disconnect", "a", "b"});
  EXPECT_EQ(source.getOfflineParameter("a", 7), 0.0F);
  EXPECT_TRUE(source.getString(1).empty() && host->connections().empty());
  EXPECT_EQ(source.removed, 0);
}

TEST_F(Change, ValuesAreWrittenIntoTheRowAndTakenOverAsFarAsClientsDo) {
  EXPECT_EQ(lipc(0, {"set", "a", "33", "-2.5", "--yes"}), "a p33: 0 -> -2.5\n");
  EXPECT_TRUE(eventually(5s, [&] { return source.getOfflineParameter(33) == -2.5F; }));
  const json set = json::parse(lipc(0, {"set", "a", "10", "4", "--yes", "--json"}));
  EXPECT_EQ(set, R"({"format": "lipc-set", "version": 1, "id": "a", "parameter": 10, "name": null,
                     "before": 0.0, "after": 4.0, "takenOver": false})"_json);
  EXPECT_EQ(target.getOfflineParameter("a", 10), 4.0F);
  EXPECT_EQ(source.getOfflineParameter(10), 0.0F);
  EXPECT_EQ(lipc(0, {"string", "a", "9", "\x1b", "--yes"}), "a s9: \"\" -> \"\\x1b\"\n");
  EXPECT_EQ(source.getString(9), "\x1b");
  lipc(0, {"string", "a", "9", std::string(127, 'x'), "--yes"});
  lipc(11, {"string", "a", "9", std::string(128, 'x'), "--yes"});
  for (const char* none : {"nan", "inf", "1e99", "", " 1", "1x"})
    lipc(11, {"set", "a", "33", none, "--yes"});
  lipc(11, {"set", "a", "128", "1", "--yes"});
  lipc(6, {"set", "c", "1", "1", "--yes"});
  EXPECT_EQ(source.getOfflineParameter("a", 33), -2.5F);

  std::atomic<bool> isOver{false};
  std::thread stubborn([&] {
    for (; !isOver; std::this_thread::sleep_for(1ms))
      source.setOfflineParameter(33, 1.0F);
  });
  EXPECT_NE(lipc(17, {"set", "a", "33", "2", "--yes"}).find("did not stay"), std::string::npos);
  isOver = true;
  stubborn.join();
}

TEST_F(Change, ANewConnectionStaysWhileItsCommandRuns) {
  lipc(6, {"connect", "a", "c", "--yes"});
  lipc(11, {"connect", "a", "b", "--yes", "--wires", "2:0"});
  for (const char* none : {"0", "0-1:0", "0:0,0:0", "0:0,", "-1:0", "1-0:1-0"})
    lipc(2, {"connect", "a", "b", "--yes", std::string("--wires=") + none});
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Process command({LIPC_COMMAND, "connect", "a", "b", "--yes", "--wires=0-1:1-2"});
    ASSERT_TRUE(command.waitForLine("a -> b: not connected -> connected, 2 wires (0:1 1:2)", 15s));
    EXPECT_TRUE(hasWire(listed(), 0, 1) && hasWire(listed(), 1, 2));
    command.signal(signal);
    EXPECT_EQ(command.wait(15s), 0);
    EXPECT_TRUE(host->connections().empty() && areAlone());
  }
  Process command({LIPC_COMMAND, "connect", "a", "b", "--yes"});
  ASSERT_TRUE(command.waitForLine("2 wires (0:0 1:1)", 15s));
  lipc(0, {"disconnect", "a", "b", "--yes"});
  EXPECT_EQ(command.wait(15s), 17);
  EXPECT_TRUE(host->connections().empty() && areAlone());
}

TEST_F(Change, WhatAClientPublishesStaysAsItWasChangedAndComesBackSo) {
  source.configBeginEdit();
  source.configEditConnection(ClientID("a"), ClientID("b")).addWire(0, 2);
  source.configEndEdit();
  ASSERT_TRUE(eventually(10s, [&] { return hasWire(listed(), 0, 2); }));
  lipc(0, {"disconnect", "a", "b", "--yes"});
  EXPECT_EQ(listed().disconnectRequested, 1);
  lipc(12, {"disconnect", "a", "b", "--yes"});
  const std::string kicked = lipc(0, {"kick", "a", "--yes"});
  EXPECT_NE(kicked.find("back under the same row, #0, after "), std::string::npos) << kicked;
  EXPECT_EQ(source.removed, 2);
  EXPECT_EQ(listed().disconnectRequested, 1) << "it has taken the cut over";
  lipc(0, {"connect", "a", "b", "--yes"});
  EXPECT_TRUE(listed().disconnectRequested == 0 && hasWire(listed(), 0, 2)) << "with its wires";
  const json wired =
      json::parse(lipc(0, {"connect", "a", "b", "--yes", "--json", "--wires", "1:0"}));
  EXPECT_EQ(wired["before"]["wires"], R"([[0, 2]])"_json);
  EXPECT_EQ(wired["stays"], true);
  EXPECT_TRUE(hasWire(listed(), 1, 0) && !hasWire(listed(), 0, 2) && areAlone());
}

TEST_F(Change, ASessionThatTakesNothingIsReportedWithTheReason) {
  std::ofstream("/tmp/LIPC_LIPC_SESSION_NOCONNECT");
  const int forbids = shmget(ftok("/tmp/LIPC_LIPC_SESSION_NOCONNECT", 1), 8, IPC_CREAT | 0666);
  const auto start = std::chrono::steady_clock::now();
  const std::string said = lipc(17, {"connect", "a", "b", "--yes"});
  EXPECT_GE(std::chrono::steady_clock::now() - start, 10s);
  shmctl(forbids, IPC_RMID, nullptr);
  EXPECT_NE(said.find("within 10 seconds: its host forbids joins."), std::string::npos) << said;
  EXPECT_TRUE(areAlone());
}

}  // namespace
