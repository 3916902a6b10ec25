#include <cmath>
#include <thread>

#include <gtest/gtest.h>

#include "host/SessionReader.h"
#include "lipc/client/Client.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using namespace std::chrono_literals;
using support::eventually;
using support::TestClient;
using support::TestHost;
using Steady = std::chrono::steady_clock;

TEST(Client, KeepsWhatItIsToldUntilItJoinsAndPublishesItThen) {
  TestClient client("early");
  client.setOfflineParameter(40, 0.5F);
  client.setOfflineParameter(-1, 9.0F);
  client.setOfflineParameter(128, 9.0F);
  client.setString(3, "three");
  client.setString(10, "none");
  EXPECT_EQ(client.getOfflineParameter(40), 0.5F);
  EXPECT_EQ(client.getOfflineParameter(128), 0.0F);
  EXPECT_EQ(client.getString(3), "") << "nothing is read while not connected";
  EXPECT_EQ(client.getClientIndex(LIPC::ClientID("early")), -1);

  TestHost host;
  ASSERT_TRUE(client.join());
  const LIPC::ClientEntry& row = *host.session().getClientEntry("early");
  EXPECT_EQ(row.offlineParameters[40], 0.5F);
  EXPECT_EQ(row.offlineParameters[4], 3.0F);
  EXPECT_EQ(row.offlineParameters[6], 5.0F) << "1, and the bit of value 4 set by the join";
  EXPECT_EQ(client.getString(3), "three");
  EXPECT_EQ(client.getClientIndex(LIPC::ClientID("early")), 0);
  EXPECT_EQ(client.getClientIndex(LIPC::ClientID("nobody")), 1024);
  client.stopLIPCSession();
  EXPECT_FALSE(host.hasRow("early"));
  EXPECT_EQ(client.removed, 1);
}

TEST(Client, PullsWhatOthersChangedButForTheGap) {
  TestHost host;
  TestClient client("pulled");
  TestClient other("other");
  ASSERT_TRUE(client.join() && other.join());
  LIPC::ClientEntry& row = *host.session().getClientEntry("pulled");
  row.offlineParameters[10] = 1.0F;
  row.offlineParameters[31] = 1.0F;
  row.offlineParameters[7] = 2.0F;
  other.setOtherClientString("pulled", 2, "from outside");
  ASSERT_TRUE(eventually(5s, [&] { return client.lastChanged == 7; }));
  row.offlineParameters[32] = std::nanf("");
  ASSERT_TRUE(eventually(5s, [&] { return client.lastChanged == 32; }));
  const int reports = client.changed;
  EXPECT_TRUE(eventually(5s, [&] { return client.changed > reports + 1; }))
      << "a NaN counts as changed every time";
  EXPECT_EQ(client.getOfflineParameter(10), 0.0F);
  EXPECT_EQ(client.getString(2), "from outside");
  EXPECT_EQ(other.getString("pulled", 2), "from outside");
}

TEST(Client, NamesAreMadeUniqueCutAndRefused) {
  TestHost host;
  const std::string name64(64, 'n');
  TestClient first("first");
  TestClient second("second");
  first.configSetName("Mixer");
  second.configSetName("Mixer");
  ASSERT_TRUE(first.join() && second.join());
  EXPECT_EQ(second.configGetName(), "Mixer (1)");
  EXPECT_EQ(first.configSetName("   "), -3);
  EXPECT_EQ(first.configSetName(nullptr), -2);
  EXPECT_EQ(first.configGetName(), "Mixer");
  EXPECT_EQ(first.configSetName("Mixer (1)"), -1);
  EXPECT_EQ(first.configGetName(), "Mixer (1) (1)");

  const LIPC::ClientEntry& row = *host.session().getClientEntry("first");
  for (const std::string& name : {name64, std::string(200, 'N'), std::string("a/b \xC3\xA9")}) {
    EXPECT_EQ(first.configSetName(name.c_str()), 0);
    EXPECT_EQ(row.nameView(), name.substr(0, 64));
    EXPECT_EQ(row.mode, 3U) << "the field behind the name is untouched";
  }
  const std::string longName = std::string(59, 'n') + "\xC3\xA9" + std::string(9, 'n');
  EXPECT_EQ(first.configSetName(longName.c_str()), 0);
  EXPECT_EQ(second.configSetName(longName.c_str()), -1) << "equal as far as a row holds them";
  EXPECT_EQ(second.configGetName(), std::string(59, 'n') + " (1)");
  EXPECT_EQ(second.configGetName(), host.session().getClientEntry("second")->nameView());
}

TEST(Client, AChangedConfigurationRejoinsAndAnUnchangedOneDoesNot) {
  TestHost host;
  TestClient client("reconfigured");
  ASSERT_TRUE(client.join());
  client.configBeginEdit();
  client.configEndEdit();
  client.configBeginEdit();
  client.configSetIOChannelCount(4, 70'000);
  client.configEndEdit();
  ASSERT_TRUE(eventually(5s, [&] { return client.established == 2; }));
  const LIPC::ClientEntry& row = *host.session().getClientEntry("reconfigured");
  EXPECT_EQ(row.inputChannelCount, 4);
  EXPECT_EQ(row.outputChannelCount, 70'000 - 65'536) << "cut to 16 bits";
  EXPECT_EQ(client.removed, 1);

  client.configSetMode(static_cast<LIPC::eClientMode>(12));
  EXPECT_EQ(row.mode, 8U) << "written through, and stored as exactly 8";
  client.configSetClientID("reconfigured too");
  EXPECT_EQ(client.configGetEditClientID(), "reconfigured")
      << "an ID that begins with the active one counts as equal";
}

TEST(Client, RoutesReachTheSessionAndComeBackWithTheLeave) {
  TestHost host;
  TestClient mixer("mixer", static_cast<int>(LIPC::cMixEngineType));
  TestClient panner("panner");
  panner.configEditConnection(LIPC::ClientID("panner"), LIPC::ClientID("mixer")).addWire(1, 2);
  ASSERT_TRUE(mixer.join() && panner.join());
  ASSERT_TRUE(eventually(5s, [&] { return host->connections().size() == 1; }));
  EXPECT_TRUE(eventually(5s, [&] { return mixer.peers == 1; }))
      << "the mix engine's tick shows who is connected to it";
  EXPECT_EQ(panner.getConnectedClients(0, LIPC::ClientID("panner")).at(0).id, "mixer");

  mixer.stopLIPCSession();
  EXPECT_EQ(host->connections().size(), 1U) << "its source is still here";
  ASSERT_TRUE(mixer.join());
  panner.stopLIPCSession();
  EXPECT_TRUE(host->connections().empty());
  ASSERT_TRUE(panner.join());
  ASSERT_TRUE(eventually(5s, [&] { return host->connections().size() == 1; }));
  EXPECT_EQ(host->connections().front().getWiredChannel(1, LIPC::Connection::eSourceSide), 2);
}

TEST(Client, AHostItMayNotJoinIsToldApart) {
  struct Case {
    std::uint32_t version, width;
    bool noConnect;
    LIPC::eVersionStatus status;
  };
  for (const Case& c :
       {Case{4, 64, false, LIPC::eVersionHostOlder}, Case{6, 64, false, LIPC::eVersionHostNewer},
        Case{5, 32, false, LIPC::eVersionHost32Bit}, Case{5, 64, true, LIPC::eVersionNoHost}}) {
    host::HostOptions options;
    options.protocolVersion = c.version;
    options.pointerWidthBits = c.width;
    options.faults.noConnect = c.noConnect;
    TestHost host(options);
    TestClient client("refused");
    client.startLIPCSession(0);
    EXPECT_TRUE(eventually(5s, [&] { return client.ticks > 3; }));
    EXPECT_FALSE(client.isConnected());
    EXPECT_EQ(client.getVersionStatus(), c.status);
  }
}

TEST(Client, TheStartDelayIsSleptThroughAndAStoppedClientCanBeStartedAgain) {
  TestHost host;
  TestClient client("twice");
  const auto start = Steady::now();
  client.startLIPCSession(300);
  client.stopLIPCSession();
  EXPECT_GE(Steady::now() - start, 300ms);
  EXPECT_EQ(client.established, 0);
  EXPECT_TRUE(client.join());
}

TEST(Client, AnIDThatIsUnsetOrHasNoKeyFileNeverJoinsAndHoldsNothing) {
  TestHost host;
  for (const char* id : {"Default", "", "with/slash"}) {
    TestClient client(id);
    client.startLIPCSession(0);
    EXPECT_TRUE(eventually(5s, [&] { return client.ticks > 3; }));
    EXPECT_FALSE(client.isConnected()) << id;
    EXPECT_EQ(host.session().getClientEntriesCount(0), 0U);
    client.configBeginEdit();
    client.configSetClientID("Default no more");
    client.configEndEdit();
    EXPECT_TRUE(eventually(3s, [&] { return host.hasRow("Default no more"); }))
        << "another ID counts, and the registration lock is free";
  }
}

TEST(Client, MayBeUsedFromSeveralThreadsWhileItIsReconfigured) {
  TestHost host;
  TestClient client("busy");
  ASSERT_TRUE(client.join());
  std::atomic<bool> stop{false};
  std::thread user([&] {
    for (int i = 0; !stop; ++i) {
      client.setOfflineParameter(50, static_cast<float>(i));
      client.setString(1, std::to_string(i).c_str());
      client.getString("busy", 1);
      client.getOfflineParameter(50);
      client.getClientEntries(0);
      client.configGetName();
      client.configGetClientID();
    }
  });
  for (int round = 1; round <= 4; ++round) {
    client.configBeginEdit();
    client.configSetIOChannelCount(round, round);
    client.configSetClientID(("busy " + std::to_string(round)).c_str());
    client.configSetClientID((std::to_string(round) + " busy").c_str());
    client.configEndEdit();
    client.configSetName(("name " + std::to_string(round)).c_str());
    EXPECT_TRUE(eventually(10s, [&] { return client.established == round + 1; })) << round;
  }
  stop = true;
  user.join();
  EXPECT_TRUE(host.hasRow("4 busy"));
}

class ThrowingClient final : public TestClient {
 public:
  using TestClient::onLIPCConnectionTick;
  using TestClient::TestClient;
  ~ThrowingClient() override { stopLIPCSession(); }
  void onLIPCConnectionEstablished() override {
    TestClient::onLIPCConnectionEstablished();
    if (throws) throw std::runtime_error("on purpose");
  }
  void onLIPCConnectionTick() override {
    if (throwsAtATick) throw std::runtime_error("on purpose");
  }
  void onLIPCConnectionToBeRemoved() override {
    ++removed;
    throw std::runtime_error("on purpose");
  }
  std::atomic<bool> throws{true}, throwsAtATick{false};
};

TEST(Client, AnExceptionInAJoinReleasesEverythingAndTheJoinIsTriedAgain) {
  TestHost host;
  ThrowingClient client("throwing");
  client.startLIPCSession(0);
  ASSERT_TRUE(eventually(10s, [&] { return client.established >= 2; }));
  client.throws = false;
  EXPECT_TRUE(eventually(10s, [&] {
    return client.isConnected() && client.removed == client.established - 1;
  })) << "told of each end that was none of its own";
  EXPECT_EQ(client.configGetClientID(), "throwing") << "it did not take itself for another";

  client.throwsAtATick = true;
  EXPECT_TRUE(eventually(10s, [&] { return !client.isConnected(); })) << "its thread has ended";
  client.stopLIPCSession();
  EXPECT_FALSE(host.hasRow("throwing"));
  client.throwsAtATick = false;
  EXPECT_TRUE(client.join()) << "a stopped client starts again";
  client.stopLIPCSession();
  EXPECT_FALSE(host.hasRow("throwing"));
}

}  // namespace
