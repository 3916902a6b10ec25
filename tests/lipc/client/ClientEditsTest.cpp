// The configuration's edits, without a session, and the loop's counters.
#include <gtest/gtest.h>

#include "lipc/client/AutoConnectThread.h"
#include "lipc/client/HeartbeatWatch.h"
#include "tests/support/TestClient.h"

namespace {

using namespace LIPC;
using Routing = std::vector<std::int32_t>;

struct ClientEdits : testing::Test {
  Routing& routing() { return client.configGetOutputRouting(); }
  void publish() {
    client.configBeginEdit();
    client.configEndEdit();
  }
  support::TestClient client{"client"};
};

TEST_F(ClientEdits, ArePublishedByTheOutermostEndAndByTheNextWhereNoneIsOpen) {
  client.configBeginEdit();
  client.configBeginEdit();
  EXPECT_TRUE(client.configSetIOChannelCount(2, 3));
  client.configSetClientID("new");
  EXPECT_EQ(client.configGetEditClientID(), "new");
  client.configEndEdit();
  EXPECT_EQ(client.configGetClientID() + std::to_string(routing().size()), "client0");
  client.configEndEdit();
  EXPECT_EQ(client.configGetClientID(), "new");
  EXPECT_EQ(routing(), (Routing{0, 1, 2}));
  client.configEndEdit();  // none is open
  EXPECT_FALSE(client.configSetIOChannelCount(2, 3)) << "nothing changes";
  EXPECT_TRUE(client.configSetIOChannelCount(1, 3));

  EXPECT_TRUE(client.configSetIOChannelCount(1, 2));
  client.configSetClientID("newer");  // begins as the active one does: equal
  client.configSetClientID("other");
  EXPECT_EQ(client.configGetClientID() + std::to_string(routing().size()), "new3");
  routing()[0] = -1;
  publish();
  EXPECT_EQ(client.configGetClientID(), "other");
  EXPECT_EQ(routing(), (Routing{0, 1})) << "refilled, since it changed its length";
  routing()[0] = -1;
  publish();
  EXPECT_EQ(routing(), (Routing{-1, 1}));
  client.configResetOutputRouting();
  EXPECT_EQ(routing(), (Routing{-1, 1}));
  publish();
  EXPECT_EQ(routing(), (Routing{0, 1}));
}

TEST_F(ClientEdits, OfTheCountsGoAsFarAsTheModeAllows) {
  struct Case {
    int mode, stored;
    bool hasInputs, hasOutputs;
  };
  // clang-format off
  for (const Case& each : {Case{0, 0, false, false}, {1, 1, true, false}, {2, 2, false, true},
                           {4, 4, false, false}, {7, 7, true, true}, {11, 8, false, false}}) {
    // clang-format on
    client.configSetMode(static_cast<eClientMode>(each.mode));
    EXPECT_EQ(client.configGetMode(), static_cast<unsigned>(each.stored));
    client.configSetIOChannelCount(0, 0);
    EXPECT_EQ(client.configSetIOChannelCount(2, 0), each.hasInputs) << each.mode;
    EXPECT_EQ(client.configSetIOChannelCount(2, 2), each.hasOutputs) << each.mode;
  }
  client.configSetMode(static_cast<eClientMode>(3));
  client.configSetIOChannelCount(2, 2);
  publish();
  EXPECT_EQ(routing().size(), 2U);
  client.configSetMode(eClientModeInputs);
  publish();
  EXPECT_TRUE(routing().empty()) << "a mode without outputs takes them away";
}

TEST(HeartbeatWatch, TheEleventhUnchangedPassInARowIsTheEndAndAHostThatBeginsAgainAnother) {
  using eVerdict = HeartbeatWatch::eVerdict;
  HeartbeatWatch watch;
  watch.restart(7);
  for (const std::uint64_t tick : {8U, 9U}) {
    EXPECT_EQ(watch.observe(tick), eVerdict::eAdvanced);
    for (int pass = 1; pass <= 10; ++pass)
      EXPECT_EQ(watch.observe(tick), eVerdict::eStalled) << pass;
  }
  EXPECT_EQ(watch.observe(9), eVerdict::eGone);
  for (const std::uint64_t tick : {8U, 1U, 0U})
    EXPECT_EQ(watch.observe(tick), eVerdict::eRestarted);
  watch.restart(1);
  EXPECT_EQ(watch.observe(1), eVerdict::eStalled);
}

TEST(AutoConnectThread, TheLoopPeriodIsClamped) {
  AutoConnectThread thread;
  for (const auto& [asked, stored] : {std::pair{99, 100}, {101, 101}, {499, 499}, {501, 500}}) {
    thread.setLoopDurationMS(asked);
    EXPECT_EQ(thread.loopDurationMS(), stored);
  }
}

}  // namespace
