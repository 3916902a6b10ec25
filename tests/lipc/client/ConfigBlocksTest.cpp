#include <gtest/gtest.h>

#include "lipc/client/AutoConnectThread.h"
#include "lipc/client/ConfigBlocks.h"
#include "lipc/client/HeartbeatWatch.h"
#include "lipc/session/SessionNames.h"

namespace {

using LIPC::ConfigBlocks;
using LIPC::HeartbeatWatch;

constexpr std::uint32_t cBoth = LIPC::eClientModeInputs | LIPC::eClientModeOutputs;

TEST(ConfigBlocks, OnlyTheOutermostEndPublishesAndTellsOfAChange) {
  ConfigBlocks config("a", "b");
  EXPECT_EQ(config.active().clientID, "b");
  config.beginEdit();
  config.beginEdit();
  EXPECT_TRUE(config.setChannelCounts(2, 3, cBoth));
  EXPECT_FALSE(config.endEdit());
  EXPECT_EQ(config.active().outputChannelCount, 0);
  EXPECT_TRUE(config.endEdit());
  EXPECT_EQ(config.active().clientID, "b");
  EXPECT_EQ(config.active().inputChannelCount, 2);
  EXPECT_EQ(config.active().outputRouting, (std::vector<std::int32_t>{0, 1, 2}));

  config.beginEdit();
  EXPECT_FALSE(config.setChannelCounts(2, 3, cBoth));
  EXPECT_FALSE(config.endEdit()) << "nothing changed";
  EXPECT_FALSE(config.endEdit()) << "no edit was open";
  EXPECT_EQ(config.active().inputChannelCount, 2);
  config.beginEdit();
  config.edit().clientID = "written";
  EXPECT_TRUE(config.endEdit()) << "another ID is a change, however it came there";
}

TEST(ConfigBlocks, ChangesOutsideOfAnEditArePublishedByTheNextEnd) {
  ConfigBlocks config("a", "b");
  EXPECT_TRUE(config.setChannelCounts(2, 3, cBoth));
  config.setID("c");
  EXPECT_EQ(config.active().clientID, "b");
  config.replaceID("free");
  EXPECT_EQ(config.active().clientID, "free");
  EXPECT_EQ(config.active().inputChannelCount, 0);
  config.beginEdit();
  EXPECT_TRUE(config.endEdit());
  EXPECT_EQ(config.active().clientID, "c");
  EXPECT_EQ(config.active().inputChannelCount, 2);
  EXPECT_EQ(config.active().outputRouting, (std::vector<std::int32_t>{0, 1, 2}));
}

TEST(ConfigBlocks, AChangeBesideTheBlocksLeavesTheActiveRoutingsEntries) {
  ConfigBlocks config("a", "b");
  config.beginEdit();
  config.setChannelCounts(0, 2, cBoth);
  config.endEdit();
  config.markChanged();
  config.active().outputRouting[0] = -1;
  config.beginEdit();
  EXPECT_TRUE(config.endEdit());
  EXPECT_EQ(config.active().outputRouting, (std::vector<std::int32_t>{-1, 1}));
  config.resetOutputRouting();
  config.beginEdit();
  EXPECT_FALSE(config.endEdit()) << "a reset alone is no change";
  EXPECT_EQ(config.active().outputRouting, (std::vector<std::int32_t>{0, 1}));
}

TEST(ConfigBlocks, TheModeDecidesWhichCountsThereAre) {
  ConfigBlocks config("a", "b");
  for (const std::uint32_t mode : {0U, 4U, 8U}) {
    EXPECT_FALSE(config.setChannelCounts(2, 2, mode)) << mode;
  }
  EXPECT_TRUE(config.setChannelCounts(2, 2, cBoth));
  config.restrictToMode(LIPC::eClientModeInputs);
  EXPECT_EQ(config.edit().inputChannelCount, 2);
  EXPECT_EQ(config.edit().outputChannelCount, 0);
  EXPECT_TRUE(config.edit().outputRouting.empty());
}

TEST(ConfigBlocks, ANewIDCountsAtOnceOrWithTheEndOfAnOpenEdit) {
  ConfigBlocks config("a", "b");
  config.markChanged();
  config.replaceID("c");
  EXPECT_EQ(config.active().clientID, "c");
  config.beginEdit();
  EXPECT_FALSE(config.endEdit()) << "the join to come takes what was marked";
  config.setChannelCounts(1, 1, cBoth);
  config.replaceID("c too");
  config.beginEdit();
  EXPECT_TRUE(config.endEdit()) << "it could not take what is still to be published";
  config.beginEdit();
  config.replaceID("d");
  EXPECT_EQ(config.active().clientID, "c too");
  config.endEdit();
  EXPECT_EQ(config.active().clientID, "d");
}

TEST(ConfigBlocks, APinnedBlockStaysAsItIsThroughTheEditsThatFollow) {
  ConfigBlocks config("a", "pinned");
  config.beginEdit();
  config.setChannelCounts(2, 2, cBoth);
  config.endEdit();
  {
    const ConfigBlocks::Pin pin(config);
    for (const std::uint16_t count : {3, 4, 5}) {
      config.beginEdit();
      EXPECT_TRUE(config.setChannelCounts(count, count, cBoth));
      EXPECT_TRUE(config.endEdit());
      config.replaceID("later");
      EXPECT_EQ(config.activeOutputChannelCount(), count);
      EXPECT_EQ(config.active().inputChannelCount, count);
      EXPECT_EQ(pin->clientID, "pinned");
      EXPECT_EQ(pin->inputChannelCount, 2);
      EXPECT_EQ(pin->outputRouting, (std::vector<std::int32_t>{0, 1}));
    }
  }
  const ConfigBlocks::Pin next(config);
  EXPECT_EQ(next->clientID, "later");
  EXPECT_EQ(next->outputRouting.size(), 5U);
}

TEST(HeartbeatWatch, TheEleventhUnchangedPassInARowIsTheEnd) {
  using eVerdict = HeartbeatWatch::eVerdict;
  HeartbeatWatch watch;
  watch.restart(7);
  for (int round = 0; round < 2; ++round) {
    const std::uint64_t tick = 8 + static_cast<std::uint64_t>(round);
    EXPECT_EQ(watch.observe(tick), eVerdict::eAdvanced);
    for (int pass = 1; pass <= 10; ++pass) {
      EXPECT_EQ(watch.observe(tick), eVerdict::eStalled) << pass;
    }
  }
  EXPECT_EQ(watch.observe(9), eVerdict::eGone);
  EXPECT_EQ(watch.observe(8), eVerdict::eRestarted);
}

TEST(AutoConnectThread, TheLoopPeriodIsClamped) {
  LIPC::AutoConnectThread thread;
  EXPECT_EQ(thread.loopDurationMS(), 500);
  for (const auto& [asked, stored] : {std::pair{50, 100}, {250, 250}, {1000, 500}}) {
    thread.setLoopDurationMS(asked);
    EXPECT_EQ(thread.loopDurationMS(), stored);
  }
}

}  // namespace
