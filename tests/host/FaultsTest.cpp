// What participants and hosts do to each other when they die, stop or misbehave, with real
// processes.

#include <sys/ipc.h>
#include <sys/shm.h>

#include "lipc/client/Join.h"
#include "lipc/session/ConnectionPool.h"
#include "tests/support/Process.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using host::HostOptions;
using namespace support;
using Steady = std::chrono::steady_clock;

/// A participant: one of the examples.
Process tone(const std::string& id, const std::string& to = "mixer") {
  return Process({LIPC_EXAMPLES "/tone", "--id", id, "--to", to});
}

/// Segments of the sandbox and named objects in it.
std::set<std::string> leftovers() {
  std::set<std::string> names;
  for (const auto& file : std::filesystem::directory_iterator("/tmp")) {
    const std::string name = file.path().filename().string();
    const key_t key = name.starts_with("LIPC_") ? ftok(file.path().c_str(), 1) : -1;
    if (key != -1 && shmget(key, 0, 0) >= 0) names.insert(name);
  }
  for (const auto& file : std::filesystem::directory_iterator("/dev/shm"))
    names.insert(file.path().string());
  return names;
}

TEST(AKilledClient, IsReportedAndReapedAndItsIDIsFreeAgain) {
  TestHost host;
  Process client = tone("killed");
  TestClient other("other");
  ASSERT_TRUE(client.waitForLine("joined", 10s) && other.join());
  client.signal(SIGKILL);
  const auto killed = Steady::now();
  ASSERT_TRUE(host.waitFor(TestHost::Kind::eLost, "killed", 15s));
  EXPECT_GE(Steady::now() - killed, 3s) << "its stamp was fresh until then";
  EXPECT_FALSE(host.hasRow("killed"));
  for (const auto& name : leftovers())
    EXPECT_EQ(name.find("killed"), std::string::npos) << name;
  EXPECT_TRUE(host->connections().empty());
  EXPECT_FALSE(host.had(TestHost::Kind::eLost, "other"));

  Process again = tone("killed");
  EXPECT_TRUE(again.waitForLine("joined", 10s));
  Process dead = tone("dead");
  ASSERT_TRUE(dead.waitForLine("joined", 10s));
  dead.signal(SIGKILL);
  ASSERT_EQ(dead.wait(5s), -SIGKILL);
  const auto stopped = Steady::now();
  EXPECT_TRUE(host->stop().empty());
  EXPECT_LT(Steady::now() - stopped, 3s) << "it waited for the dead";
  EXPECT_TRUE(again.waitForLine("leaving", 5s));
  again.signal(SIGINT);
  EXPECT_EQ(again.wait(10s), 0);
  other.stopLIPCSession();
  EXPECT_EQ(leftovers(), std::set<std::string>());
}

/// Run by the next test in a process of its own: takes the steps of a join, or of a leave, and
/// dies.
TEST(DISABLED_Joiner, DiesAfterAStep) {
  const std::string step = getenv("LIPC_DIES_AFTER");
  const auto dieAt = [&](const char* here) {
    if (step == here) std::raise(SIGKILL);
  };
  const LIPC::Participant who{LIPC::ClientID("dying"), LIPC::fourCharacterCode("TEST"), 0, 0, 0};
  LIPC::SessionAttachment attachment;
  LIPC::Join join(who, attachment);
  ASSERT_TRUE(join.attachSession());
  join.openSessionSemaphores();
  LIPC::SemaphoreHandle& ended = *attachment.mSessionBufferRegistrationEndedSemaphore;
  const auto ask = [&](std::uint16_t request) {
    attachment.session()->writeRequest(who.id, request);
    ended.clear();
    attachment.mSessionBufferRegistrationSemaphore->post();
  };
  ASSERT_TRUE(eventually(10s, [&] { return join.tryRegistrationLock(); }));
  dieAt("lock");
  ASSERT_TRUE(join.createClientBuffer() && join.createSlices());
  dieAt("buffer");
  const LIPC::PublishedConnections published(who.id);
  dieAt("list");
  if (step == "pool") {
    LIPC::ConnectionPool::open().change([](LIPC::PoolManager&) { std::raise(SIGKILL); });
  }
  const float parameters[LIPC::cOfflineParameterCount] = {};
  join.fillRow(*join.findRow(), "dying", parameters, {});
  dieAt("row");
  ask(LIPC::SessionBuffer::cJoinRequest);
  dieAt("request");
  ended.wait();
  ASSERT_TRUE(eventually(10s, [&] { return join.tryRegistrationLock(); }));
  ask(LIPC::SessionBuffer::cLeaveRequest);
  dieAt("leave");
}

class AJoinerKilled : public testing::TestWithParam<const char*> {};

TEST_P(AJoinerKilled, LocksNobodyOutAndLeavesNothing) {
  TestHost host;
  setenv("LIPC_DIES_AFTER", GetParam(), 1);
  Process dying({testing::internal::GetArgvs()[0], "--gtest_also_run_disabled_tests",
                 "--gtest_filter=DISABLED_Joiner.*"});
  ASSERT_EQ(dying.wait(20s), -SIGKILL);
  TestClient same("dying");
  TestClient other("other");
  EXPECT_TRUE(other.join(20s)) << host.notes();
  ASSERT_TRUE(eventually(15s, [&] { return !host.hasRow("dying"); })) << host.notes();
  EXPECT_TRUE(same.join(20s)) << host.notes();
  EXPECT_EQ(same.configGetClientID(), "dying");
  EXPECT_EQ(other.removed, 0) << "it was asked to publish again what was whole";
  same.stopLIPCSession();
  other.stopLIPCSession();
  EXPECT_TRUE(host->stop().empty());
  EXPECT_EQ(leftovers(), std::set<std::string>());
}

INSTANTIATE_TEST_SUITE_P(After, AJoinerKilled,
                         testing::Values("lock", "buffer", "list", "pool", "row", "request",
                                         "leave"),
                         [](const auto& step) { return std::string(step.param); });

TEST(AStoppedClient, WhoseIDAnotherTookComesBackUnderANewOne) {
  TestHost host;
  Process stopped = tone("shared");
  ASSERT_TRUE(stopped.waitForLine("joined", 10s));
  stopped.signal(SIGSTOP);
  ASSERT_TRUE(host.waitFor(TestHost::Kind::eLost, "shared", 15s));
  TestClient successor("shared");
  ASSERT_TRUE(successor.join());
  stopped.signal(SIGCONT);
  ASSERT_TRUE(stopped.waitForLine("leaving", 10s) && stopped.waitForLine("joined", 10s));
  EXPECT_TRUE(successor.isConnected());
  EXPECT_EQ(successor.removed, 0);
  EXPECT_EQ(host.session().entries[0].id, "shared");
  EXPECT_EQ(host.session().entries[1].id.view().size(), 36U);
  stopped.signal(SIGINT);
  EXPECT_EQ(stopped.wait(10s), 0) << stopped.output();
}

TEST(AKilledHost, IsReplacedAndItsClientsAreBackWithinSeconds) {
  Process first({LIPC_COMMAND, "host"});
  ASSERT_TRUE(first.waitForLine("Clients", 15s)) << first.output();
  Process clients[] = {tone("a", "b"), tone("b", "c"), tone("c", "a")};
  for (Process& client : clients)
    ASSERT_TRUE(client.waitForLine("joined", 10s));
  const LIPC::ShmManagedOpen<LIPC::SessionBuffer> old(LIPC::cSessionSegment);
  first.signal(SIGKILL);
  ASSERT_EQ(first.wait(5s), -SIGKILL);

  TestHost second;
  EXPECT_FALSE(second->removedAtStart().empty());
  EXPECT_EQ(old->heartbeat, 0U) << "which sends its clients away";
  for (const char* id : {"a", "b", "c"})
    EXPECT_TRUE(second.waitFor(TestHost::Kind::eJoined, id, 20s)) << id;
  EXPECT_EQ(second->connections().size(), 3U);
  EXPECT_TRUE(second->stop().empty());
  for (Process& client : clients) {
    client.signal(SIGINT);
    EXPECT_EQ(client.wait(10s), 0) << client.output();
  }
  EXPECT_EQ(leftovers(), std::set<std::string>());
}

TEST(AStartingHost, WakesTheClientsOfADeadOneAndRemovesTheSemaphoresOfNobody) {
  LIPC::ShmManagedCreateOpen<LIPC::SessionBuffer> table(LIPC::cSessionSegment,
                                                        sizeof(LIPC::SessionBuffer));
  table.abandon();
  // Its semaphores have the platform's names of those of "x0-123".
  const LIPC::ShmManagedCreateOpen<LIPC::ClientBuffer> living("x1-122", sizeof(LIPC::ClientBuffer));
  LIPC::SemaphoreHandle asked(living->mustDisconnectSemaphore);
  LIPC::SemaphoreHandle answered(table->registrationEndedSemaphore);
  table->entries[3].id.setTo("x1-122");
  const auto make = [](const std::string& path, std::chrono::seconds age) {
    std::ofstream(path).close();
    last_write_time(std::filesystem::path(path),
                    std::filesystem::file_time_type::clock::now() - age);
  };
  const std::string folder = "/dev/shm/sem.";
  make("/tmp/LIPC_x0-123", 0s);
  make("/tmp/LIPC_gone", 0s);
  make(folder + LIPC::Semaphore::platformName("goneClientMustDisconnect"), 0s);
  make(folder + "0123456?-89ab-cdef-0123-45678", 11s);
  const std::string young = folder + "01234567-89ab-cdef-0123-45678";
  const std::string foreign = folder + "01234567-89AB-cdef-0123-45678";
  make(young, 5s);
  make(foreign, 60s);
  {
    const TestHost host;
    EXPECT_EQ(table->heartbeat, 0U);
    EXPECT_TRUE(asked.try_wait() && answered.try_wait()) << "it may wait by a clock set back";
  }
  EXPECT_TRUE(LIPC::Semaphore::postIfPresent(living->mustDisconnectSemaphore));
  EXPECT_TRUE(asked.try_wait()) << "its semaphore was taken for another's";
  std::set<std::string> kept = leftovers();
  EXPECT_EQ(kept.erase(young) + kept.erase(foreign), 2U);
  EXPECT_EQ(kept.size(), 3U) << "the living client's segment and semaphores";
  for (const std::string& file : {young, foreign})
    std::filesystem::remove(file);
}

TEST(AFaultyHost, MisbehavesAsItsFaultSays) {
  using host::Faults;
  // The fault, after how many seconds which join succeeds; 0: none within three passes.
  const std::tuple<bool Faults::*, double, int> cases[] = {
      {&Faults::holdLock, 0, 0},        {&Faults::noConnect, 0, 0},
      {&Faults::fillTable, 0, 0},       {&Faults::stallHeartbeat, 1.0, 2},
      {&Faults::heartbeatBack, 0.1, 2}, {&Faults::silent, 2.4, 1}};
  for (const auto& [fault, seconds, joins] : cases) {
    HostOptions options;
    options.faults.*fault = true;
    TestHost host(options);
    TestClient client("client");
    const auto start = Steady::now();
    client.startLIPCSession(0);
    EXPECT_TRUE(eventually(20s, [&, joins = joins] {
      return joins == 0 ? client.ticks > 3 : client.established == joins;
    }));
    EXPECT_GE(Steady::now() - start, seconds * 1s);
    EXPECT_EQ(client.established, joins);
    EXPECT_EQ(host.session().getEmptyEntry() == nullptr, options.faults.fillTable);
  }
}

TEST(ALock, ThatWasGivenBackOnceTooOftenIsOneLockAgainAfterTheNextJoin) {
  TestHost host;
  LIPC::SemaphoreHandle lock(host.session().clientsCanRegisterMutex);
  lock.post();
  TestClient client("client");
  ASSERT_TRUE(client.join());
  EXPECT_TRUE(eventually(10s, [&] { return lock.try_wait(); }) && !lock.try_wait());
  lock.post();
}

TEST(AClient, WhoseKeyFileIsTakenAwayComesBack) {
  TestHost host;
  TestClient client("robbed");
  ASSERT_TRUE(client.join());
  std::filesystem::remove("/tmp/LIPC_robbed");
  EXPECT_TRUE(eventually(5s, [&] { return client.established == 2 && host.hasRow("robbed"); }));
}

}  // namespace
