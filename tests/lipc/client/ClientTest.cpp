// SPDX-License-Identifier: BSL-1.0
#include "lipc/client/Client.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using LIPC::ClientID;
using namespace support;

TEST(Client, ReadsAndWritesWithinItsBoundsAndNothingOutsideOfASession) {
  const int type = static_cast<int>(LIPC::fourCharacterCode("TEST"));
  TestClient client("client"), other("other");
  LIPC::ClientEntry copy;
  LIPC::PredicateFindClientEntryForID finder(ClientID("other"));
  const auto reads = [&] {
    client.setOfflineParameter(128, 9.0F);
    client.setOfflineParameter(127, 0.5F);
    client.setString(10, "none");
    client.setString(9, "nine");
    client.setOtherClientString("other", 10, "none");
    client.setOtherClientString("other", 8, "eight");
    client.scanClientEntries(finder);
    std::ostringstream all;
    all << client.getOfflineParameter(127) << client.getOfflineParameter(128) << ' '
        << client.getOfflineParameter("client", 127) << client.getOfflineParameter("nobody", 4)
        << ' ' << client.getString(9) << client.getString(10) << client.getString("other", 8)
        << client.getString("nobody", 8) << ' ' << client.getClientIndex(ClientID("other")) << ' '
        << client.getClientIndex(ClientID("nobody")) << ' ' << client.getClientEntries(type).size()
        << client.getClientEntryCopy("other", copy) << client.getClientEntryCopy("nobody", copy)
        << client.getClientEntryCopy(1, copy) << client.getClientEntryCopy(1024, copy)
        << finder.found;
    return all.str();
  };
  EXPECT_EQ(reads(), "0.50 00  -1 -1 000000");
  TestHost host;
  ASSERT_TRUE(client.join() && other.join());
  EXPECT_EQ(reads(), "0.50 0.50 nineeight 1 1024 210101");
  EXPECT_EQ(copy.id, "other");
  host.session().entries[0].offlineParameters[32] = std::nanf("");
  EXPECT_TRUE(eventually(5s, [&] { return client.changed > 2; })) << "a NaN counts every time";
  EXPECT_EQ(client.lastChanged, 32);

  client.configSetName("Mixer");
  EXPECT_TRUE(other.configSetName("") == -2 && other.configSetName(nullptr) == -2);
  EXPECT_TRUE(other.configSetName("   ") == -3 && other.configSetName("Mixer") == -1);
  EXPECT_EQ(host.session().entries[1].nameView(), "Mixer (1)");
}

TEST(Client, AChangedConfigurationRejoinsAndAnUnchangedOneDoesNot) {
  TestHost host;
  TestClient client("changing");
  ASSERT_TRUE(client.join());
  client.configBeginEdit();
  client.configEndEdit();
  client.configBeginEdit();
  client.configSetIOChannelCount(4, 70'000);
  client.configEndEdit();
  ASSERT_TRUE(eventually(5s, [&] { return client.established == 2; }));
  const LIPC::ClientEntry& row = host.session().entries[0];
  EXPECT_EQ(row.outputChannelCount, 70'000 - 65'536) << "cut to 16 bits";
  client.configSetMode(static_cast<LIPC::eClientMode>(12));
  EXPECT_EQ(row.mode, 8U) << "written through";
  client.configBeginEdit();
  client.configSetClientID("chang");
  client.configEndEdit();
  ASSERT_TRUE(eventually(5s, [&] { return client.established == 3; }));
  EXPECT_EQ(row.id, "chang");
  EXPECT_EQ(row.inputChannelCount + row.outputChannelCount, 0) << "as the mode 8 allowed";
}

class ThrowingClient final : public TestClient {
 public:
  using TestClient::TestClient;
  ~ThrowingClient() override { stopLIPCSession(); }
  void onLIPCConnectionEstablished() override {
    TestClient::onLIPCConnectionEstablished();
    if (throws) throw std::runtime_error("on purpose");
  }
  void onLIPCConnectionToBeRemoved() override { throw std::runtime_error("on purpose"); }
  std::atomic<bool> throws{true};
};

TEST(Client, AnExceptionInAJoinReleasesEverythingAndTheJoinIsTriedAgain) {
  TestHost host;
  ThrowingClient client("throwing");
  client.startLIPCSession(0);
  ASSERT_TRUE(eventually(10s, [&] { return client.established >= 2; }));
  client.throws = false;
  EXPECT_TRUE(eventually(10s, [&] { return client.isConnected(); }));
  EXPECT_EQ(client.configGetClientID(), "throwing") << "it did not take itself for another";
  client.stopLIPCSession();
  EXPECT_TRUE(eventually(5s, [&] { return !host.hasRow("throwing"); }));
  EXPECT_TRUE(client.join()) << "a stopped client starts again";
}

}  // namespace
