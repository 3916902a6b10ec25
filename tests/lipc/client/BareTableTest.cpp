// SPDX-License-Identifier: BSL-1.0

// A client alone with a session table of the test's own making: what it writes, asks and gives
// back, and when, as a program of another make sees it.

#include "tests/support/BareSession.h"
#include "tests/support/SyslogCapture.h"
#include "tests/support/TestClient.h"

namespace {

using namespace LIPC;
using namespace support;
using Steady = std::chrono::steady_clock;

constexpr std::size_t cStringsOffset = 656;
constexpr std::size_t cStampOffset = 920;

/// The system's UTC time, so many seconds from now.
std::string stamp(int seconds = 0) {
  const std::time_t time = std::time(nullptr) + seconds;
  char text[16];
  std::strftime(text, sizeof text, "%Y%m%dT%H%M%S", std::gmtime(&time));
  return text;
}

bool isNow(const char* text) {
  for (int seconds = -3; seconds <= 0; ++seconds)
    if (text == stamp(seconds)) return true;
  return false;
}

class BareTable : public testing::Test {
 protected:
  ~BareTable() override {
    session.isAnswering = session.isBeating = true;
    client.stopLIPCSession();
  }

  float& parameter(int index) { return reinterpret_cast<float*>(session.row(0) + 144)[index]; }
  std::string text(int slot) {
    const char* at = session.row(0) + cStringsOffset + 272 * slot;
    return at + 8 + 128 * at[264];
  }
  /// As another program puts it.
  void putText(int slot, const char* value) {
    char* at = session.row(0) + cStringsOffset + 272 * slot;
    std::strcpy(at + 8 + 128 * (1 - at[264]), value);
    at[264] = static_cast<char>(1 - at[264]);
  }
  bool joins() {
    const int before = client.established;
    client.startLIPCSession(0);
    if (!session.isAsked("client", 1)) return false;
    session.answer();
    return eventually(10s, [&] { return client.established > before && client.isConnected(); });
  }
  bool ticks(int times) {
    const int before = client.ticks;
    return eventually(20s, [&] { return client.ticks >= before + times; });
  }
  /// What is there of a client's own.
  std::string remains() {
    std::string all = session.list("client") != nullptr ? "list" : "";
    for (const char* name : {"client", "client-send", "client-return"})
      if (SystemSegment(name).at(0) != nullptr) all += name;
    for (const char* name : {"clientClientMustDisconnect", "clientmKeepAliveTimestampMutex"})
      if (SystemSemaphore(name).exists()) all += name;
    return all;
  }
  void expectKeptOut(eVersionStatus status, const std::string& said = "", int lockCount = 1) {
    SCOPED_TRACE(std::to_string(status) + said);
    const std::string table(session.row(0), 3376 * 1024);
    const SyslogCapture log;
    client.startLIPCSession(0);
    EXPECT_TRUE(ticks(3));
    EXPECT_EQ(client.getVersionStatus(), status);
    EXPECT_GE(log.count("<ERRO> tryConnectWithoutLock " + said + "\n"), said.empty() ? 0 : 3);
    EXPECT_EQ(log.messages().empty(), said.empty());
    client.stopLIPCSession();
    EXPECT_EQ(session.lock.count() + session.registration.count(), lockCount);
    EXPECT_TRUE(table == std::string(session.row(0), table.size()));
    EXPECT_EQ(remains(), "");
  }

  BareSession session;
  TestClient client{"client"};
};

TEST_F(BareTable, AJoinHasPutEverythingInPlaceWhenItAsksAndEndsWithTheAnswer) {
  std::strcpy(session.row(0), "other");
  std::strcpy(session.row(1), "Default");
  for (const auto& [free, name] : {std::pair{0, "Mixer"}, {7, "Mixer (1)"}, {1023, "Mixer (2)"}})
    std::strcpy(session.row(free) + 72, name);
  client.configSetName("Mixer");
  client.configSetIOChannelCount(3, 2);
  client.configEditConnection(ClientID("client"), ClientID("target")).addWire(1, 2);
  client.configDisconnect(ClientID("source"), ClientID("client"));
  client.configBeginEdit();
  client.configEndEdit();
  Image row(3376), buffer(1248), send(4712), returns(4712);
  row.text(0, "client").text(68, "TSET").text(72, "Mixer (3)").put(136, 3);
  row.put(140, std::int16_t{3}).put(142, std::int16_t{2});
  row.put(144 + 4 * 3, 1).put(144 + 4 * 4, 3.0F).text(144 + 4 * 5, "TSET").put(144 + 4 * 6, 5.0F);
  client.setOfflineParameter(127, 9.0F);
  row.put(144 + 4 * 127, 9.0F);
  for (int slot = 0; slot < 10; ++slot) {
    const std::string value(slot == 9 ? 127 : slot, 'a');
    client.setString(slot, value.c_str());
    row.text(cStringsOffset + 272 * slot + 8 + 128, value)
        .put(cStringsOffset + 272 * slot + 264, 1);
  }
  for (int stale = 0; stale < 3; ++stale)
    session.ended.post();
  client.startLIPCSession(0);
  ASSERT_TRUE(session.isAsked("client", 1));
  EXPECT_EQ(session.lock.count() + session.ended.count(), 0) << "taken, and drained";
  // Whatever word a string slot begins with, nobody reads it.
  for (int slot = 0; slot < 10; ++slot)
    session.row(1)[cStringsOffset + 272 * slot] = 0;
  EXPECT_EQ(differences(session.row(1), row), "");

  const SystemSegment own("client"), sendRing("client-send"), returnRing("client-return");
  ASSERT_EQ((std::vector{own.size(), sendRing.size(), returnRing.size()}),
            (std::vector<std::size_t>{1248, 4712 + 3 * 24576, 4712 + 2 * 24576}));
  EXPECT_TRUE(isNow(own.at(cStampOffset))) << own.at(cStampOffset);
  buffer.text(0, "client").text(68, "TSET").put(72, 3).text(cStampOffset, own.at(cStampOffset));
  buffer.text(140, semaphoreRecord("clientClientMustDisconnect", 0));
  buffer.text(984, semaphoreRecord("clientmKeepAliveTimestampMutex", 1));
  EXPECT_EQ(differences(own.at(0), buffer), "");
  EXPECT_EQ(SystemSemaphore("clientClientMustDisconnect").count(), 0);
  EXPECT_EQ(SystemSemaphore("clientmKeepAliveTimestampMutex").count(), 1);
  for (int i = 0; i < 6; ++i) {
    const auto slice = 8 + 784 * static_cast<std::size_t>(i);
    send.put(slice + 80, std::int16_t{3}).put(slice + 780, 4704 + i * (3 * 4096 - 784));
    returns.put(slice + 80, std::int16_t{2}).put(slice + 780, 4704 + i * (2 * 4096 - 784));
  }
  EXPECT_EQ(differences(sendRing.at(0), send) + differences(returnRing.at(0), returns), "");

  Image wired(457), cut(457);  // up to the padding
  const std::string noWires(256, '\xFF');
  wired.text(0, "client").text(65, "target").text(196, noWires).put(196, 1).put(200, 2);
  cut.text(0, "source").text(65, "client").text(196, noWires).put(452, 1);
  BareSession::List* list = session.list("client");
  ASSERT_TRUE(list != nullptr && list->size() == 2);
  EXPECT_EQ(differences(list->front().bytes, wired) + differences(list->back().bytes, cut), "");

  EXPECT_FALSE(eventually(200ms, [&] { return client.isConnected() || client.established > 0; }));
  session.answer();
  EXPECT_TRUE(eventually(2s, [&] { return client.established == 1 && client.isConnected(); }));
  EXPECT_TRUE(session.lockIsFree()) << "the host gives it back, the client does not";
}

TEST_F(BareTable, ALeaveAsksAndTakesItsOwnAwayButLeavesTheRowToTheHost) {
  ASSERT_TRUE(joins());
  session.ended.post();
  std::thread stop([&] { client.stopLIPCSession(); });
  ASSERT_TRUE(session.isAsked("client", 0));
  EXPECT_EQ(session.lock.count() + session.ended.count(), 0);
  EXPECT_TRUE(!client.isConnected() && client.removed == 1 && session.list("client") != nullptr);
  session.answer();
  stop.join();
  EXPECT_EQ(remains(), "");
  EXPECT_STREQ(session.row(0), "client");
  EXPECT_TRUE(session.lockIsFree());
}

TEST_F(BareTable, ASilentHostCostsAJoinAndALeaveTheirTimesAndTheRow) {
  const auto secondsOf = [](auto action) {
    const auto start = Steady::now();
    action();
    return std::chrono::duration<double>(Steady::now() - start).count();
  };
  double seconds = secondsOf([&] { EXPECT_TRUE(client.join(20s)); });
  EXPECT_TRUE(seconds >= 2.45 && seconds < 4.5) << seconds;
  seconds = secondsOf([&] { client.stopLIPCSession(); });  // the host never gave the lock back
  EXPECT_TRUE(seconds >= 2.95 && seconds < 5) << seconds;
  EXPECT_EQ(session.row(0)[0], '\0');
  EXPECT_STREQ(session.row(0) + 1, "lient") << "nothing but its first character";
  EXPECT_EQ(remains(), "");
  EXPECT_EQ(session.lock.count(), 0) << "what it never had it does not give";
  EXPECT_EQ(session.registration.count(), 1) << "the join's request alone";

  session.registration.take();
  session.lock.post();
  ASSERT_TRUE(joins());
  seconds = secondsOf([&] { client.stopLIPCSession(); });  // with the lock
  EXPECT_TRUE(seconds >= 1.45 && seconds < 2.9) << seconds;
  session.lock.post();
}

TEST_F(BareTable, WhatKeepsAClientOutCostsNoLockAndLeavesNothingOfIt) {
  {
    const SystemSegment mark("LIPC_SESSION_NOCONNECT", 1);
    expectKeptOut(eVersionNoHost);
  }
  const auto answers = [&](char number, char width) {
    session.version.at(0)[0] = number;
    session.version.at(0)[4] = width;
  };
  answers(4, 64);
  expectKeptOut(eVersionHostOlder);
  answers(6, 64);
  expectKeptOut(eVersionHostNewer);
  answers(5, 32);
  expectKeptOut(eVersionHost32Bit,
                "V3DHost running in wrong architecture (32 bits : should be 64 )LIPC_SESSION");
  answers(5, 64);
  session.lock.take();
  expectKeptOut(eVersionMatches, "", 0);
  session.lock.post();
  for (int row = 0; row < 1024; ++row)
    std::strcpy(session.row(row), "filler");
  expectKeptOut(eVersionMatches, "No empty entry available, the array is full");
  session.row(0)[0] = '\0';
  for (const auto& [name, what] : {std::pair{"", "ClientBuffer"},
                                   {"-send", "SHMSlices (send)"},
                                   {"-return", "SHMSlices (return)"}}) {
    const std::string path = std::string("/tmp/LIPC_client") + name;
    std::filesystem::remove(path);
    std::filesystem::create_symlink("/none/of/these", path);  // neither to be made nor opened
    expectKeptOut(eVersionMatches, std::string("Could not access ") + what);
    std::filesystem::remove(path);
  }
  EXPECT_TRUE(joins());
}

TEST_F(BareTable, AnIDThatIsThereIsTakenOverFromTheDeadAndLeftToTheLiving) {
  constexpr int cNoBuffer = 1'000'000;
  // clang-format off
  for (const auto& [age, mutexIsFree, isTakenOver] :
       {std::tuple{-5, true, true}, {cNoBuffer, true, true}, {2, true, false}, {-5, false, true}}) {
    // clang-format on
    SCOPED_TRACE(std::to_string(age) + (mutexIsFree ? "" : " behind its mutex"));
    TestClient joining("shared");
    joining.configEditConnection(ClientID("shared"), ClientID("target"));
    joining.configEditConnection(ClientID("source"), ClientID("shared"));
    std::strcpy(session.row(5), "shared");
    auto owner = std::make_unique<SystemSegment>("shared", age == cNoBuffer ? 0 : 1248);
    SystemSemaphore mutex("sharedmKeepAliveTimestampMutex", mutexIsFree ? 1 : 0);
    if (owner->at(0) != nullptr) {
      semaphoreRecord("sharedmKeepAliveTimestampMutex", 1).copy(owner->at(984), 260);
      std::strcpy(owner->at(cStampOffset), stamp(age).c_str());
    }
    const auto start = Steady::now();
    joining.startLIPCSession(0);
    if (!mutexIsFree) {
      EXPECT_TRUE(eventually(20s, [&] { return joining.ticks >= 2; }));
      EXPECT_GE(Steady::now() - start, 1900ms) << "a second for each look";
      mutex.post();
    }
    ASSERT_TRUE(eventually(20s, [&] { return session.registration.take(); }));
    const std::string id = session.row(0);
    EXPECT_EQ(session.row(5), std::string(isTakenOver ? "" : "shared"));
    BareSession::List* list = session.list(id.c_str());
    ASSERT_NE(list, nullptr);
    if (isTakenOver) {
      EXPECT_EQ(id + std::to_string(list->size()), "shared2");
      EXPECT_EQ(SystemSegment("shared").at(0)[68], 'T');
    } else {
      EXPECT_TRUE(id.size() == 36 && mutex.count() == 1);
      EXPECT_EQ(list->size(), 1U) << "the one to its old ID is the other's";
      EXPECT_EQ(list->front().bytes, id);
    }
    session.answer();
    session.isAnswering = true;
    joining.stopLIPCSession();
    session.isAnswering = false;
    session.row(0)[0] = session.row(5)[0] = '\0';
  }
}

TEST_F(BareTable, ARejoinBringsBackWhatTheSessionChangedAndWhatTheUserEdited) {
  const std::vector<int> edges = {0, 7, 8, 31, 32, 127};
  for (const int index : edges)
    client.setOfflineParameter(index, 1.0F);
  client.setString(0, "own");
  Connection& kept = client.configEditConnection(ClientID("client"), ClientID("edited"));
  kept.addWire(1, 1);
  client.configEditConnection(ClientID("client"), ClientID("live")).addWire(1, 1);
  ASSERT_TRUE(joins());
  putText(0, "theirs");
  putText(9, "last");
  for (const BareSession::Connection& published : *session.list("client")) {
    session.sessionList.push_back(published);
    Image(8).put(0, 5).put(4, 6).copy(session.sessionList.back().bytes + 196 + 8, 8);  // a 2nd wire
  }
  session.sessionList.back().bytes[452] = 1;
  for (const int index : edges)
    parameter(index) = 2.0F;
  ASSERT_TRUE(eventually(10s, [&] { return client.lastChanged == 127; }));
  kept.addWire(7, 8);

  for (const bool isRobbed : {false, true}) {
    const int joinsBefore = client.established;
    if (isRobbed) {
      std::memset(session.row(0), 0, 3376);  // somebody takes its row
    } else {
      SystemSemaphore("clientClientMustDisconnect").post();  // the host asks
      ASSERT_TRUE(session.isAsked("client", 0));
      std::memset(session.row(0), 0, 3376);
      session.answer();
    }
    ASSERT_TRUE(session.isAsked("client", 1));
    std::string found = text(0) + text(9);
    for (const int index : edges)
      found += std::to_string(static_cast<int>(parameter(index)));
    EXPECT_EQ(found, "theirslast221122") << "8 to 31 are nobody else's";
    BareSession::List& list = *session.list("client");
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list.front().bytes[196 + 8], 7) << "edited through a reference that was kept";
    EXPECT_EQ(list.back().bytes[196 + 8], 5) << "as the session has it";
    EXPECT_EQ(list.back().bytes[452], 1) << "cut by another";
    session.sessionList.clear();
    session.answer();
    ASSERT_TRUE(eventually(10s, [&] { return client.established > joinsBefore; }));
  }
}

TEST_F(BareTable, AConnectedClientStampsWatchesTheHeartbeatAndObeys) {
  ASSERT_TRUE(joins());
  const SystemSegment own("client");
  SystemSemaphore mutex("clientmKeepAliveTimestampMutex");
  ASSERT_TRUE(eventually(10s, [&] { return mutex.take(); }));
  std::strcpy(own.at(cStampOffset), "19990101T000000");
  EXPECT_TRUE(ticks(3));
  EXPECT_STREQ(own.at(cStampOffset), "19990101T000000") << "while its mutex is held";
  mutex.post();
  EXPECT_TRUE(eventually(10s, [&] { return isNow(own.at(cStampOffset)); }));
  session.isBeating = false;
  const int ticksBefore = client.ticks;
  ASSERT_TRUE(session.isAsked("client", 0));
  const int passes = client.ticks - ticksBefore;
  EXPECT_TRUE(passes >= 9 && passes <= 14) << passes;
  session.answer();
  session.isAnswering = session.isBeating = true;
  ASSERT_TRUE(eventually(10s, [&] { return client.established == 2; }));
  session.isBeating = false;
  const int ticksAtReset = client.ticks;
  EXPECT_TRUE(eventually(10s, [&] {
    session.put(BareSession::cHeartbeat, std::uint64_t{1});  // over a last beat
    return client.removed == 2;
  }));
  EXPECT_LE(client.ticks - ticksAtReset, 3) << "a host that begins again is left at once";
  ASSERT_TRUE(eventually(10s, [&] { return client.established == 3; }));
  EXPECT_TRUE(ticks(3));
  EXPECT_EQ(client.removed, 2) << "and joined by what it counts now";
}

}  // namespace
