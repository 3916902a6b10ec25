// SPDX-License-Identifier: BSL-1.0

// What participants and hosts do to each other when they die, stop or misbehave, with real
// processes.

#include <sys/ipc.h>
#include <sys/shm.h>

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

std::set<std::string> segmentsAndObjects() {
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

/// What a machine without a sandbox had before.
const std::set<std::string> sBefore = segmentsAndObjects();

std::set<std::string> leftovers() {
  std::set<std::string> names = segmentsAndObjects();
  std::erase_if(names, [](const std::string& name) { return sBefore.count(name) != 0; });
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

TEST(AStoppedClient, KeepsItsIDAndSegmentsUntilAnotherTakesThem) {
  TestHost host;
  Process stopped = tone("shared");
  ASSERT_TRUE(stopped.waitForLine("joined", 10s));
  std::optional<TestClient> successor;
  for (const std::size_t idLength : {6U, 36U}) {
    const auto before = LIPC::ShmManaged::find("shared-send");
    stopped.signal(SIGSTOP);
    ASSERT_TRUE(eventually(15s, [&] { return !host.hasRow("shared"); }));
    const auto after = LIPC::ShmManaged::find("shared-send");
    ASSERT_TRUE(before && after && before->id == after->id) << "attached: it may live";
    ASSERT_TRUE(idLength == 6 || successor.emplace("shared").join());
    stopped.signal(SIGCONT);
    ASSERT_TRUE(stopped.waitForLine("leaving", 10s) && stopped.waitForLine("joined", 10s));
    EXPECT_TRUE(host.hasRow("shared"));
    EXPECT_EQ(host.session().entries[successor ? 1 : 0].id.view().size(), idLength);
  }
  EXPECT_TRUE(host.had(TestHost::Kind::eLost, "shared"));
  EXPECT_TRUE(successor->isConnected());
  EXPECT_EQ(successor->removed, 0);
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
    TestHost host;
    EXPECT_FALSE(host->removedAtStart().empty());
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
    EXPECT_TRUE(eventually(20s, [&, wanted = joins] {
      return wanted == 0 ? client.ticks > 3 : client.established == wanted;
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

}  // namespace
