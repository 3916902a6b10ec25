// What participants and hosts do to each other when they die, stop or misbehave, with real
// processes.
#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include "lipc/session/ShmManaged.h"
#include "lipc/session/shmKey.h"
#include "tests/support/Process.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using namespace std::chrono_literals;
using host::Event;
using host::HostOptions;
using support::eventually;
using support::Process;
using support::TestClient;
using support::TestHost;
using Steady = std::chrono::steady_clock;

/// Starts a participant process: participant("id", "mode=3", ...).
template <class... Options>
std::vector<std::string> participant(const Options&... options) {
  return {LIPC_PARTICIPANT, options...};
}

/// Segments of the sandbox and named objects in it.
std::string leftovers() {
  std::string names;
  for (const auto& file : std::filesystem::directory_iterator("/tmp")) {
    const std::string name = file.path().filename().string();
    if (name.rfind("LIPC_", 0) != 0) continue;
    const key_t key = LIPC::existingShmKey(name.substr(5).c_str());
    if (key != -1 && shmget(key, 0, 0) >= 0) names += name + "\n";
  }
  for (const auto& file : std::filesystem::directory_iterator("/dev/shm")) {
    names += file.path().string() + "\n";
  }
  return names;
}

TEST(AKilledClient, IsReportedAndReapedAndItsIDIsFreeAgain) {
  TestHost host;
  Process client(participant("killed", "in=2", "to=mixer"));
  TestClient other("other");
  ASSERT_TRUE(client.waitForLine("established killed", 10s) && other.join());
  client.signal(SIGKILL);
  const auto killed = Steady::now();
  ASSERT_TRUE(host.waitFor(Event::eKind::eLost, "killed", 15s));
  EXPECT_GE(Steady::now() - killed, 3s) << "its stamp was fresh until then";
  EXPECT_FALSE(host.hasRow("killed"));
  EXPECT_FALSE(LIPC::ShmManaged::removeIfPresent("killed"));
  EXPECT_FALSE(LIPC::ShmManaged::removeIfPresent("killed-send"));
  EXPECT_TRUE(host->connections().empty());
  EXPECT_EQ(host.count(Event::eKind::eLost, "other"), 0);

  Process again(participant("killed", "in=8"));
  EXPECT_TRUE(again.waitForLine("established killed", 10s));
  host->stop();
  EXPECT_TRUE(again.waitForLine("removed killed", 5s));
  again.closeInput();
  EXPECT_EQ(again.wait(10s), 0);
  other.stopLIPCSession();
  EXPECT_EQ(leftovers(), "");
}

class AJoinerKilled : public testing::TestWithParam<const char*> {};

TEST_P(AJoinerKilled, LocksNobodyOutAndLeavesNothing) {
  TestHost host;
  Process dying(participant("dying", std::string("die=") + GetParam()));
  ASSERT_EQ(dying.wait(10s), -SIGKILL) << dying.output();
  TestClient same("dying");
  TestClient other("other");
  EXPECT_TRUE(other.join(20s)) << host.notes();
  ASSERT_TRUE(eventually(15s, [&] { return !host.hasRow("dying"); })) << host.notes();
  EXPECT_TRUE(same.join(20s)) << host.notes();
  EXPECT_EQ(same.configGetClientID(), "dying");
  same.stopLIPCSession();
  other.stopLIPCSession();
  EXPECT_TRUE(host->stop().empty());
  EXPECT_EQ(leftovers(), "");
}

INSTANTIATE_TEST_SUITE_P(After, AJoinerKilled,
                         testing::Values("lock", "buffer", "list", "pool", "row", "request",
                                         "leave"),
                         [](const auto& step) { return std::string(step.param); });

TEST(AStoppedClient, WhoseIDAnotherTookComesBackUnderANewOne) {
  TestHost host;
  Process stopped(participant("shared", "in=2"));
  ASSERT_TRUE(stopped.waitForLine("established shared", 10s));
  stopped.signal(SIGSTOP);
  ASSERT_TRUE(host.waitFor(Event::eKind::eLost, "shared", 15s));
  TestClient successor("shared");
  ASSERT_TRUE(successor.join());
  stopped.signal(SIGCONT);
  ASSERT_TRUE(stopped.waitForLine("removed shared", 10s));
  ASSERT_TRUE(stopped.waitForLine("established", 10s));
  EXPECT_EQ(stopped.line().find("shared"), std::string::npos) << stopped.line();
  EXPECT_TRUE(successor.isConnected());
  EXPECT_EQ(successor.removed, 0);
  EXPECT_EQ(host.session().getClientEntriesCount(0), 2U);
  stopped.closeInput();
  EXPECT_EQ(stopped.wait(10s), 0) << stopped.output();
}

TEST(AKilledHost, IsReplacedAndItsClientsAreBackWithinSeconds) {
  auto first = std::make_unique<Process>(std::vector<std::string>{LIPC_COMMAND, "host"});
  ASSERT_TRUE(first->waitForLine("Clients", 15s)) << first->output();
  Process a(participant("a"));
  Process b(participant("b", "type=VMIX"));
  Process c(participant("c", "to=b"));
  ASSERT_TRUE(a.waitForLine("established a", 10s));
  ASSERT_TRUE(b.waitForLine("established b", 10s));
  ASSERT_TRUE(c.waitForLine("established c", 10s));
  first->signal(SIGKILL);
  ASSERT_EQ(first->wait(5s), -SIGKILL);

  TestHost second;
  EXPECT_FALSE(second->removedAtStart().empty());
  for (const char* id : {"a", "b", "c"}) {
    EXPECT_TRUE(second.waitFor(Event::eKind::eJoined, id, 10s)) << id;
  }
  EXPECT_EQ(second->connections().size(), 1U);
  EXPECT_TRUE(second->stop().empty());
  for (Process* client : {&a, &b, &c}) {
    client->closeInput();
    EXPECT_EQ(client->wait(10s), 0) << client->output();
  }
  EXPECT_EQ(leftovers(), "");
}

TEST(TwoHosts, TheSecondSaysThatASessionIsAliveAndTouchesNothing) {
  TestHost host;
  TestClient client("client");
  ASSERT_TRUE(client.join());
  Process second({LIPC_COMMAND, "host", "--once"});
  EXPECT_EQ(second.wait(15s), 3);
  EXPECT_TRUE(second.waitForLine("A session is alive on this machine", 1s)) << second.output();
  EXPECT_TRUE(client.isConnected());
}

TEST(ASilentHost, IsJoinedAfterItsTimeAndLeftWithoutTheLock) {
  HostOptions options;
  options.faults.silent = true;
  TestHost host(options);
  TestClient client("unheard");
  const auto start = Steady::now();
  ASSERT_TRUE(client.join());
  EXPECT_GE(Steady::now() - start, 2500ms);
  const auto leave = Steady::now();
  client.stopLIPCSession();
  EXPECT_GE(Steady::now() - leave, 3000ms) << "the lock that the host never gave back";
  EXPECT_FALSE(host.hasRow("unheard")) << "without the lock it clears its row itself";
  EXPECT_EQ(client.Client::getClientIndex(), -1);
}

TEST(AHeldLock, AndAFullTableKeepClientsOutUntilTheyAreOver) {
  HostOptions options;
  options.faults.holdLock = true;
  {
    TestHost host(options);
    TestClient client("outside");
    client.startLIPCSession(0);
    ASSERT_TRUE(eventually(5s, [&] { return client.ticks > 5; }));
    EXPECT_FALSE(client.isConnected());
  }
  options.faults.holdLock = false;
  options.faults.fillTable = true;
  TestHost host(options);
  EXPECT_EQ(host.session().getClientEntriesCount(0), 1024U);
  TestClient client("outside");
  client.startLIPCSession(0);
  ASSERT_TRUE(eventually(5s, [&] { return client.ticks > 5; }));
  EXPECT_FALSE(client.isConnected());
  EXPECT_EQ(host.session().getClientEntriesCount(0), 1024U);
  host.session().entries[7].id.setTo("Default");
  EXPECT_TRUE(eventually(5s, [&] { return client.isConnected(); }));
  EXPECT_EQ(host.session().entries[7].id, "outside");
}

TEST(TwoLiveClients, WithOneIDShareTheSessionAndKeepTheirConnections) {
  TestHost host;
  TestClient first("same");
  TestClient second("same");
  second.configEditConnection(LIPC::ClientID("same"), LIPC::ClientID("mixer"));
  second.configEditConnection(LIPC::ClientID("mixer"), LIPC::ClientID("same"));
  ASSERT_TRUE(first.join() && second.join());
  EXPECT_EQ(first.configGetClientID(), "same");
  EXPECT_EQ(second.configGetClientID().size(), 36U);
  EXPECT_EQ(second.configGetConnectionCount(), 1U) << "the one to its old ID is the other's";
  ASSERT_TRUE(eventually(5s, [&] { return host->connections().size() == 1; }));
  EXPECT_EQ(host->connections().front().source.text(), second.configGetClientID());
}

TEST(AHeartbeat, ThatStallsIsNoticedAfterElevenPassesAndOneThatGoesBackAtOnce) {
  HostOptions options;
  options.faults.stallHeartbeat = true;
  {
    TestHost host(options);
    TestClient client("stalled");
    ASSERT_TRUE(client.join());
    const auto start = Steady::now();
    ASSERT_TRUE(eventually(10s, [&] { return client.removed == 1; }));
    EXPECT_GE(Steady::now() - start, 1000ms) << "eleven passes of 100 ms, the first at once";
    EXPECT_TRUE(eventually(10s, [&] { return client.established == 2; }));
  }
  options.faults.stallHeartbeat = false;
  options.faults.heartbeatBack = true;
  TestHost host(options);
  TestClient client("thrown back");
  ASSERT_TRUE(client.join());
  EXPECT_TRUE(eventually(10s, [&] { return client.established >= 3; }));
}

TEST(TheHost, AsksAClientToLeaveAndItComesBack) {
  TestHost host;
  TestClient client("asked");
  ASSERT_TRUE(client.join());
  {
    const LIPC::ShmManagedOpen<LIPC::ClientBuffer> buffer("asked");
    ASSERT_NE(buffer.get(), nullptr);
    LIPC::SemaphoreHandle(buffer->mustDisconnectSemaphore).post();
  }
  EXPECT_TRUE(eventually(5s, [&] { return client.established == 2; }));
  EXPECT_EQ(host.count(Event::eKind::eLeft, "asked"), 1);
}

TEST(AClient, WhoseRowOrKeyFileIsTakenAwayComesBack) {
  TestHost host;
  TestClient client("robbed");
  ASSERT_TRUE(client.join());
  host.session().entries[0].id.clear();
  ASSERT_TRUE(eventually(5s, [&] { return client.established == 2; }));
  std::filesystem::remove(LIPC::keyFilePath("robbed"));
  EXPECT_TRUE(eventually(5s, [&] { return client.established == 3 && host.hasRow("robbed"); }));
  EXPECT_EQ(host.count(Event::eKind::eLost, "robbed"), 0) << "it left in order";
}

TEST(AForeignStamp, ThatIsNoTimeNeitherEndsTheJoinerNorKeepsTheLock) {
  TestHost host;
  host.session().entries[0].id.setTo("garbled");
  LIPC::ShmManagedCreateOpen<LIPC::ClientBuffer> foreign("garbled", sizeof(LIPC::ClientBuffer));
  std::memset(foreign->keepAliveTimestamp, 'x', sizeof foreign->keepAliveTimestamp);
  TestClient client("garbled");
  EXPECT_TRUE(client.join());
  EXPECT_EQ(client.configGetClientID(), "garbled");
  foreign.abandon();
}

TEST(LeftoverRings, WithFewerChannelsGiveWayToTheNewOnes) {
  TestHost host;
  auto left = std::make_unique<LIPC::ShmManagedCreateOpen<LIPC::SHMSlices>>(
      "grown-send", static_cast<std::size_t>(LIPC::SHMSlices::sizeOfStruct(1)));
  left->abandon();
  left.reset();
  Process client(participant("grown", "in=8"));
  EXPECT_TRUE(client.waitForLine("established grown", 10s));
}

TEST(ASessionFullOfOnes, NeitherCrashesAReaderNorLetsAClientIn) {
  struct Version : LIPC::VersionRecord {
    explicit Version(const char*) : VersionRecord{5, 64} {}
  };
  const LIPC::ShmManagedCreateOpen<Version> version(LIPC::cVersionSegment, sizeof(Version));
  struct Ones {
    explicit Ones(const char*) { std::memset(bytes, 0xFF, sizeof bytes); }
    char bytes[sizeof(LIPC::SessionBuffer)];
  };
  const LIPC::ShmManagedCreateOpen<Ones> session(LIPC::cSessionSegment, sizeof(Ones));
  TestClient client("among ones");
  client.startLIPCSession(0);
  EXPECT_TRUE(eventually(5s, [&] { return client.ticks > 3; }));
  EXPECT_FALSE(client.isConnected());
  Process ls({LIPC_COMMAND, "ls", "--json"});
  EXPECT_TRUE(ls.waitForLine("\"index\": 1023", 20s)) << ls.output().substr(0, 500);
  EXPECT_EQ(ls.wait(10s), 0);
  client.stopLIPCSession();
  EXPECT_EQ(leftovers(), "LIPC_LIPC_SESSION\nLIPC_LIPC_VERSION\n");
}

}  // namespace
