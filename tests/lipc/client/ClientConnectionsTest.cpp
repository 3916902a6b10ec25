// SPDX-License-Identifier: BSL-1.0

// The configured connections of a client, and what the session makes of them.
#include <gtest/gtest.h>

#include "lipc/session/ShmPtr.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using LIPC::ClientID;
using LIPC::Connection;
using namespace support;

const ClientID cMe("me"), cMixer("mixer"), cOther("other"), cUnset("Default");

/// The session's list, to be changed as by the host or another client.
struct SessionList {
  LIPC::SharedConnectionList& operator*() { return *list.ptr; }
  Connection& find(const ClientID& source, const ClientID& target) {
    return *std::find_if(list.ptr->begin(), list.ptr->end(), [&](const Connection& connection) {
      return connection.source == source && connection.target == target;
    });
  }
  void add(const ClientID& source, const ClientID& target, bool isCut = false) {
    list.ptr->emplace_back(source, target, ClientID());
    list.ptr->back().disconnectRequested = isCut ? 1 : 0;
    list.ptr->back().addWire(3, 4);
  }
  LIPC::ShmPtr<LIPC::SharedConnectionList> list{LIPC::cConnectionListName};
};

TEST(ClientConnections, AnEditRevivesWithTheWiresAndADisconnectKeepsACutOne) {
  TestClient client("me");
  client.configEditConnection(cMe, cMixer).addWire(1, 2);
  client.configDisconnect(cMe, cMixer);
  client.configDisconnect(cMixer, cMe);
  const Connection& connection = client.configGetConnection(cMe, cMixer);
  const Connection& cut = client.configGetConnections().back();
  EXPECT_EQ(connection.disconnectRequested + cut.disconnectRequested, 2);
  EXPECT_EQ(&client.configEditConnection(cMe, cMixer), &connection);
  EXPECT_TRUE(connection.disconnectRequested == 0 && connection.findUnusedIndex() == 1);
  EXPECT_EQ(&client.configGetConnection(cMixer, cMe), &cut);
  EXPECT_EQ(&client.configGetConnection(cOther, cMe), &Connection::mscNull);

  // By one end alone either end matches, the first of them, and an unset one matches none.
  EXPECT_EQ(&client.configEditConnection(cMixer), &connection);
  EXPECT_EQ(&client.configGetConnection(cMixer), &connection);
  client.configDisconnect(cMixer);
  EXPECT_EQ(connection.disconnectRequested, 1);
  EXPECT_EQ(client.configEditConnection(cUnset).source, "me");
  client.configDisconnect(cUnset);
  EXPECT_EQ(client.configGetConnectionCount(), 4U);
  EXPECT_EQ(&client.configGetConnection(cUnset), &Connection::mscNull);
  client.configBeginEdit();
  for (const char* id : {"new", "newer", "new"}) {
    client.configSetClientID(id);
    EXPECT_TRUE(connection.source == id && cut.target == id) << "they come along";
  }
  EXPECT_EQ(client.configEditConnection(cOther).source, "new");
}

TEST(ClientConnections, ASynchronisationTakesOverWhatOthersMadeAndCut) {
  TestHost host;
  TestClient client("me");
  client.syncClientConnections();
  client.configSetName("Panner");
  client.configBeginEdit();
  client.configEditConnection(cMe, cMixer).addWire(1, 2);
  client.configEditConnection(cMe, cOther);
  client.configDisconnect(cMe, ClientID("own cut"));
  client.configEndEdit();
  ASSERT_TRUE(client.join());
  {
    SessionList list;
    list.find(cMe, cMixer).addWire(8, 9);
    list.find(cMe, cOther).disconnectRequested = 1;
    list.find(cMe, ClientID("own cut")).disconnectRequested = 0;
    list.add(cMe, ClientID("gone"), true);
    list.add(cOther, cMe);
    list.add(cUnset, cMe);
    list.add(cMe, cUnset);
    list.add(cMe, ClientID());
    list.add(cOther, cMixer);
  }
  testing::internal::CaptureStdout();
  client.syncClientConnections();
  const std::string from = " from client id = me (name = Panner) to tar = ";
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\nsyncClientConnections ERASE Disconnected con" + from + "other" +
                "\nsyncClientConnections DISCONNECTED con NOT added" + from + "gone" +
                "\nsyncClientConnections ADD con" + from + "me");
  EXPECT_EQ(client.configGetConnectionCount(), 3U);
  EXPECT_EQ(client.configGetConnection(cMe, cMixer).findUnusedIndex(), 1) << "left as configured";
  EXPECT_EQ(client.configGetConnection(cMe, ClientID("own cut")).disconnectRequested, 1);
  EXPECT_EQ(client.configGetConnections().back().source, "other");
  EXPECT_EQ(client.configGetConnections().back().getWiredChannel(3, Connection::eSourceSide), 4);
}

TEST(ClientConnections, ACutOneStaysCutAfterTheRejoinWhateverTheRulesAndTheSessionSay) {
  TestHost host;
  TestClient mixer("mixer", static_cast<int>(LIPC::cMixEngineType));
  TestClient client("me");
  client.configAutoConnect({static_cast<int>(LIPC::cMixEngineType), Connection::eTargetSide, 0});
  ASSERT_TRUE(mixer.join() && client.join());
  EXPECT_EQ(client.getConnectedClients(0, cMe).size(), 1U);
  SessionList list;
  for (int rejoins = 1; rejoins <= 2; ++rejoins) {
    list.find(cMe, cMixer).disconnectRequested = 0;
    client.configBeginEdit();
    if (rejoins == 1) client.configDisconnect(cMixer);
    client.configSetIOChannelCount(rejoins, 1);
    client.configEndEdit();
    ASSERT_TRUE(eventually(10s, [&] { return client.established == 1 + rejoins; }));
    EXPECT_EQ(list.find(cMe, cMixer).disconnectRequested, 1);
    EXPECT_EQ((*list).size(), 1U);
  }
  EXPECT_TRUE(client.getConnectedClients(0, cMe).empty());
}

}  // namespace
