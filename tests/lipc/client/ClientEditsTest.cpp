// SPDX-License-Identifier: BSL-1.0

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
  EXPECT_TRUE(client.configSetIOChannelCount(1, 2));
  client.configSetClientID("newer");  // begins as the active one does: equal
  client.configSetClientID("other");
  EXPECT_EQ(client.configGetClientID() + std::to_string(routing().size()), "new3");
  publish();
  EXPECT_EQ(client.configGetClientID(), "other");
  EXPECT_EQ(routing(), (Routing{0, 1})) << "refilled, since it changed its length";
  routing()[0] = -1;
  publish();
  client.configResetOutputRouting();
  EXPECT_EQ(routing(), (Routing{-1, 1}));
  publish();
  EXPECT_EQ(routing(), (Routing{0, 1}));
}

TEST_F(ClientEdits, OfTheCountsGoAsFarAsTheModeAllows) {
  for (const auto& [mode, stored, hasInputs, hasOutputs] :
       {std::array{0U, 0U, 0U, 0U}, {1, 1, 1, 0}, {2, 2, 0, 1}, {7, 7, 1, 1}, {11, 8, 0, 0}}) {
    client.configSetMode(static_cast<eClientMode>(mode));
    EXPECT_EQ(client.configGetMode(), stored);
    client.configSetIOChannelCount(0, 0);
    EXPECT_EQ(client.configSetIOChannelCount(2, 0), hasInputs) << mode;
    EXPECT_EQ(client.configSetIOChannelCount(2, 2), hasOutputs) << mode;
  }
  client.configSetMode(static_cast<eClientMode>(3));
  client.configSetIOChannelCount(2, 2);
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
  for (const auto& [asked, is] : {std::pair{99, 100}, {101, 101}, {499, 499}, {501, 500}}) {
    thread.setLoopDurationMS(asked);
    EXPECT_EQ(thread.loopDurationMS(), is);
  }
}

}  // namespace
