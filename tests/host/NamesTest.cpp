// Names that fall on one key, and segments whose owner is only stopped.
#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>

#include "lipc/session/SegmentNames.h"
#include "lipc/session/ShmManaged.h"
#include "lipc/session/shmKey.h"
#include "tests/support/Process.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using namespace std::chrono_literals;
using support::eventually;
using support::Process;
using support::TestClient;
using support::TestHost;

/// From here on `name` has the key of `other`.
void collide(const std::string& name, const std::string& other) {
  LIPC::shmKey(other.c_str());
  std::filesystem::create_hard_link(LIPC::keyFilePath(other.c_str()),
                                    LIPC::keyFilePath(name.c_str()));
}

TEST(TwoNamesOnOneKey, ThatOfTheJoinerIsMadeAnewAndNobodyElseNoticesIt) {
  const char* others[] = {"LIPC_SESSION", "LIPC_VERSION", "first",
                          "first-send",   "first-return", "LIPC_SESSION_PANNER_DAW_VALS"};
  TestHost host;
  TestClient first("first");
  ASSERT_TRUE(first.join());
  int number = 0;
  for (const std::string other : others) {
    for (const char* suffix : {"", "-send", "-return"}) {
      const std::string id = "clash " + std::to_string(++number);
      collide(id + suffix, other);
      const auto before = LIPC::ShmManaged::find(other.c_str());
      TestClient clash(id.c_str());
      ASSERT_TRUE(clash.join()) << other << suffix;
      const auto after = LIPC::ShmManaged::find(other.c_str());
      ASSERT_TRUE(before && after && before->id == after->id) << other;
      EXPECT_NE(LIPC::ShmManaged::find((id + suffix).c_str())->id, after->id) << other;
    }
  }
  EXPECT_TRUE(first.isConnected());
  EXPECT_EQ(first.established, 1);
}

TEST(TwoNamesOnOneKey, OfOneClientAreToldApart) {
  TestHost host;
  collide("twin-return", "twin");
  TestClient twin("twin");
  ASSERT_TRUE(twin.join());
  EXPECT_NE(LIPC::existingShmKey("twin-return"), LIPC::existingShmKey("twin"));
}

TEST(TwoNamesOnOneKey, OfALivingClientAndTheSessionLeaveTheClientItsSegment) {
  const LIPC::ShmManagedCreateOpen<LIPC::ClientBuffer> living("living", sizeof(LIPC::ClientBuffer));
  std::filesystem::remove(LIPC::keyFilePath("LIPC_VERSION"));
  std::filesystem::remove(LIPC::keyFilePath("LIPC_SESSION"));
  collide("LIPC_VERSION", "living");
  {
    TestHost host;
    TestClient client("client");
    EXPECT_TRUE(client.join());
    EXPECT_TRUE(living.holdsItsName());
  }
  std::filesystem::remove(LIPC::keyFilePath("LIPC_SESSION"));
  collide("LIPC_SESSION", "living");
  EXPECT_THROW(TestHost(), host::HostError);
  EXPECT_TRUE(living.holdsItsName());
  std::filesystem::remove(LIPC::keyFilePath("LIPC_SESSION"));
}

TEST(AStoppedClient, KeepsItsSegmentsUntilItsIDIsTakenAndComesBackUnderIt) {
  TestHost host;
  Process stopped({LIPC_EXAMPLES "/tone", "--id", "stopped", "--to", "nobody"});
  ASSERT_TRUE(stopped.waitForLine("joined", 10s));
  const auto before = LIPC::ShmManaged::find("stopped-send");
  stopped.signal(SIGSTOP);
  ASSERT_TRUE(host.waitFor(host::Event::eKind::eLost, "stopped", 15s));
  ASSERT_TRUE(LIPC::ShmManaged::find("stopped-send"));
  EXPECT_EQ(LIPC::ShmManaged::find("stopped-send")->id, before->id) << "attached: it may live";
  stopped.signal(SIGCONT);
  EXPECT_TRUE(stopped.waitForLine("joined", 10s)) << stopped.output();
  EXPECT_TRUE(host.hasRow("stopped"));
  stopped.signal(SIGINT);
  EXPECT_EQ(stopped.wait(10s), 0);
}

TEST(AClient, WhoseSegmentIsRemovedAndNotTakenLeavesInOrderAndComesBack) {
  for (const char* name : {"bereft", "bereft-send", "bereft-return"}) {
    TestHost host;
    TestClient client("bereft");
    ASSERT_TRUE(client.join());
    LIPC::ShmManaged::remove(name);
    ASSERT_TRUE(eventually(5s, [&] { return client.established == 2; })) << name;
    EXPECT_TRUE(host.had(host::Event::eKind::eLeft, "bereft")) << name;
  }
}

}  // namespace
