#include <gtest/gtest.h>

#include "lipc/client/AutoConnectThread.h"
#include "lipc/client/ConfigBlocks.h"
#include "lipc/client/HeartbeatWatch.h"
#include "lipc/session/SessionNames.h"

namespace {

using LIPC::ConfigBlocks;
using LIPC::HeartbeatWatch;
using Routing = std::vector<std::int32_t>;

constexpr std::uint32_t cBoth = LIPC::eClientModeInputs | LIPC::eClientModeOutputs;

struct Config : testing::Test {
  bool set(std::uint16_t inputs, std::uint16_t outputs, std::uint32_t mode = cBoth) {
    return config.setChannelCounts(inputs, outputs, mode);
  }
  bool publish() {
    config.beginEdit();
    return config.endEdit();
  }
  ConfigBlocks config{"a", "b"};
};

TEST_F(Config, OnlyTheOutermostEndPublishesAndTellsOfAChange) {
  config.beginEdit();
  config.beginEdit();
  EXPECT_TRUE(set(2, 3));
  EXPECT_FALSE(config.endEdit());
  EXPECT_EQ(config.active().outputChannelCount, 0);
  EXPECT_TRUE(config.endEdit());
  EXPECT_EQ(config.active().clientID, "b");
  EXPECT_EQ(config.active().outputRouting, (Routing{0, 1, 2}));
  config.beginEdit();
  EXPECT_FALSE(set(2, 3));
  EXPECT_FALSE(config.endEdit() || config.endEdit()) << "nothing changed, and no edit was open";
  EXPECT_EQ(config.active().inputChannelCount, 2);
}

TEST_F(Config, ChangesOutsideOfAnEditArePublishedByTheNextEnd) {
  EXPECT_TRUE(set(2, 3));
  config.setID("c");
  config.replaceID("free");
  EXPECT_EQ(config.active().clientID, "free");
  EXPECT_EQ(config.active().inputChannelCount, 0);
  EXPECT_TRUE(publish());
  EXPECT_EQ(config.active().clientID, "c");
  EXPECT_EQ(config.active().outputRouting, (Routing{0, 1, 2}));
  config.markChanged();
  config.active().outputRouting[0] = -1;
  EXPECT_TRUE(publish());
  EXPECT_EQ(config.active().outputRouting, (Routing{-1, 1, 2})) << "beside the blocks";
  config.resetOutputRouting();
  EXPECT_FALSE(publish()) << "a reset alone is no change";
  EXPECT_EQ(config.active().outputRouting, (Routing{0, 1, 2}));
}

TEST_F(Config, TheModeDecidesWhichCountsThereAre) {
  for (const std::uint32_t mode : {0U, 4U, 8U})
    EXPECT_FALSE(set(2, 2, mode)) << mode;
  for (const auto& [mode, inputs, outputs] :
       {std::tuple{LIPC::eClientModeInputs, 2, 0}, {LIPC::eClientModeOutputs, 0, 2}}) {
    EXPECT_TRUE(set(2, 2));
    config.restrictToMode(mode);
    EXPECT_EQ(config.edit().inputChannelCount, inputs);
    EXPECT_EQ(config.edit().outputChannelCount, outputs);
    EXPECT_EQ(config.edit().outputRouting.size(), static_cast<unsigned>(outputs));
  }
}

TEST_F(Config, ANewIDCountsAtOnceOrWithTheEndOfAnOpenEdit) {
  config.replaceID("c");
  EXPECT_EQ(config.active().clientID, "c");
  config.beginEdit();
  config.replaceID("d");
  EXPECT_EQ(config.active().clientID, "c");
  EXPECT_TRUE(config.endEdit());
  EXPECT_EQ(config.active().clientID, "d");
}

TEST_F(Config, APinnedBlockStaysAsItIsThroughTheEditsThatFollow) {
  set(2, 2);
  publish();
  {
    const ConfigBlocks::Pin pin(config);
    for (const std::uint16_t count : {3, 4, 5}) {
      EXPECT_TRUE(set(count, count) && publish());
      config.replaceID("later");
      EXPECT_EQ(config.activeOutputChannelCount(), count);
      EXPECT_EQ(pin->clientID + config.active().clientID, "blater");
      EXPECT_EQ(pin->outputRouting, (Routing{0, 1}));
    }
  }
  const ConfigBlocks::Pin next(config);
  EXPECT_EQ(next->paddedID[4], 'r');
  EXPECT_EQ(next->outputRouting.size(), 5U);
}

TEST(HeartbeatWatch, TheEleventhUnchangedPassInARowIsTheEndAndAHostThatBeginsAgainAnother) {
  using Verdict = HeartbeatWatch::Verdict;
  HeartbeatWatch watch;
  watch.restart(7);
  for (const std::uint64_t tick : {8U, 9U}) {
    EXPECT_EQ(watch.observe(tick), Verdict::eAdvanced);
    for (int pass = 1; pass <= 10; ++pass)
      EXPECT_EQ(watch.observe(tick), Verdict::eStalled) << pass;
  }
  EXPECT_EQ(watch.observe(9), Verdict::eGone);
  for (const std::uint64_t tick : {8U, 1U, 0U})
    EXPECT_EQ(watch.observe(tick), Verdict::eRestarted);
  watch.restart(1);
  EXPECT_EQ(watch.observe(1), Verdict::eStalled);
}

TEST(AutoConnectThread, TheLoopPeriodIsClamped) {
  LIPC::AutoConnectThread thread;
  for (const auto& [asked, stored] :
       {std::pair{99, 100}, {-1, 100}, {101, 101}, {499, 499}, {501, 500}}) {
    thread.setLoopDurationMS(asked);
    EXPECT_EQ(thread.loopDurationMS(), stored);
  }
}

}  // namespace
