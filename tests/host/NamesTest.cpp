// SPDX-License-Identifier: BSL-1.0

// Names that fall on one key, and names that are taken away.
#include <filesystem>

#include <gtest/gtest.h>

#include "lipc/session/SegmentNames.h"
#include "lipc/session/ShmManaged.h"
#include "lipc/session/shmKey.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using namespace std::chrono_literals;
using support::eventually;
using support::TestClient;
using support::TestHost;

/// From here on `name` has the key of `other`.
void collide(const std::string& name, const std::string& other) {
  LIPC::shmKey(other.c_str());
  std::filesystem::remove(LIPC::keyFilePath(name.c_str()));  // of another test, without a sandbox
  std::filesystem::create_hard_link(LIPC::keyFilePath(other.c_str()),
                                    LIPC::keyFilePath(name.c_str()));
}

TEST(TwoNamesOnOneKey, ThatOfTheJoinerIsMadeAnewAndNobodyElseNoticesIt) {
  const char* others[] = {"LIPC_SESSION", "LIPC_VERSION", "first",
                          "first-send",   "first-return", "LIPC_SESSION_PANNER_DAW_VALS"};
  TestHost host;
  collide("first-return", "first");
  TestClient first("first");
  ASSERT_TRUE(first.join());
  EXPECT_NE(LIPC::existingShmKey("first-return"), LIPC::existingShmKey("first"));
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

TEST(AClient, WhoseSegmentOrKeyFileIsTakenAwayLeavesInOrderAndComesBack) {
  for (const char* name : {"bereft", "bereft-send", "bereft-return", "/tmp/LIPC_bereft"}) {
    TestHost host;
    TestClient client("bereft");
    ASSERT_TRUE(client.join());
    if (!std::filesystem::remove(name)) LIPC::ShmManaged::remove(name);
    ASSERT_TRUE(eventually(5s, [&] { return client.established == 2; })) << name;
    EXPECT_TRUE(host.had(inspect::Event::eKind::eLeft, "bereft")) << name;
  }
}

}  // namespace
