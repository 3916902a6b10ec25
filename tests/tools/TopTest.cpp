// SPDX-License-Identifier: BSL-1.0

// What lipc top makes of several looks at a session.
#include <gtest/gtest.h>

#include "tools/Terminal.h"
#include "tools/top/TopView.h"

namespace {

using namespace tools;
using namespace std::chrono_literals;
using inspect::ClientPicture;
using inspect::RingPicture;
using inspect::SessionPicture;

const TopTime cStart = TopTime() + 1h;

/// A ring after the block of this stamp, with 6 ready blocks of 100 samples.
RingPicture ringAt(std::int64_t stamp, unsigned channels, float peak) {
  RingPicture ring;
  ring.channels = channels;
  for (int age = 0; age < 6; ++age)
    ring.slices[static_cast<std::size_t>((6 - age) % 6)] = {stamp - 100 * age, 100, true, "c"};
  ring.peaks.assign(channels, peak);
  return ring;
}

SessionPicture sessionAt(std::int64_t stamp, float peak, std::uint64_t heartbeat = 1) {
  SessionPicture session;
  session.state = SessionPicture::eRead;
  session.heartbeat = heartbeat;
  ClientPicture client;
  client.id = "c";
  client.mode = 5;
  client.send = ringAt(stamp, 2, peak);
  client.answer = ringAt(stamp, 0, 0);
  session.clients = {client};
  return session;
}

TEST(Top, APeakIsHeldThenFallsAndAHigherOneReplacesIt) {
  PeakHold peak;
  EXPECT_EQ(peak.dB(cStart), cNoLevelDB);
  peak.add(-12, cStart);
  peak.add(-30, cStart + 1s);
  EXPECT_EQ(peak.dB(cStart + 1500ms), -12);
  EXPECT_NEAR(peak.dB(cStart + 2000ms), -22, 0.001);
  peak.add(-21, cStart + 2000ms);
  EXPECT_EQ(peak.dB(cStart + 3500ms), -21);
  EXPECT_EQ(peak.dB(cStart + 10s), cNoLevelDB);
}

TEST(Top, BlocksAreCountedByTheirStampsAndLevelsFallSilentWithThem) {
  TopModel model(false);
  const float peak = 0.2511886F;  // -12 dB
  model.add(sessionAt(1'000'000, peak), cStart);
  EXPECT_FALSE(model.rows()[0].blocksPerSecond);
  model.add(sessionAt(1'010'000, peak), cStart + 500ms);
  EXPECT_DOUBLE_EQ(*model.rows()[0].blocksPerSecond, 200);
  EXPECT_NEAR(model.rows()[0].send[1].dB, -12, 0.001);
  model.add(sessionAt(5000, peak), cStart + 600ms);
  EXPECT_FALSE(model.rows()[0].blocksPerSecond) << "the client's time went back";
  model.add(sessionAt(6000, peak), cStart + 700ms);
  EXPECT_DOUBLE_EQ(*model.rows()[0].blocksPerSecond, 100);
  model.add(sessionAt(6000, peak), cStart + 2s);
  EXPECT_EQ(model.rows()[0].send[1].dB, cNoLevelDB) << "no blocks come";
  EXPECT_NEAR(model.rows()[0].send[1].heldDB, -12, 0.001);
}

TEST(Top, AnAnswerIsCountedOnceAndLateOnlyAfterItWasMissing) {
  TopModel model(false);
  SessionPicture session = sessionAt(1000, 0);
  RingPicture& ring = *session.clients[0].answer;
  ring.slices[2].isReady = ring.slices[3].isReady = false;  // four and three blocks behind
  model.add(session, cStart);
  model.add(session, cStart + 10ms);
  AnswerCounts counts = *model.rows()[0].answers;
  EXPECT_EQ(counts.seen, 2U);
  EXPECT_EQ(counts.missing, 1U);
  EXPECT_EQ(counts.late, 0U);
  ring.slices[2].isReady = true;
  model.addAnswerAgain("c", ring);
  model.addAnswerAgain("c", ring);
  model.add(session, cStart + 20ms);
  counts = *model.rows()[0].answers;
  EXPECT_EQ(counts.seen, 2U);
  EXPECT_EQ(counts.missing, 1U);
  EXPECT_EQ(counts.late, 1U);
  session.clients[0].mode = 1;
  model.add(session, cStart + 30ms);
  EXPECT_FALSE(model.rows()[0].answers) << "the host never hears of its blocks";
}

TEST(Top, AHostThatStallsOrGoesAndAClientThatLeavesAreSeen) {
  TopModel model(false);
  model.add(sessionAt(0, 0, 7), cStart);
  model.add(sessionAt(0, 0, 7), cStart + 1100ms);
  EXPECT_TRUE(model.isHostStalled());
  model.add(sessionAt(0, 0, 8), cStart + 1200ms);
  EXPECT_FALSE(model.isHostStalled());
  model.add({}, cStart + 6s);
  EXPECT_FALSE(model.isHostStalled());
  EXPECT_EQ(model.rows().at(0).life, TopRow::eGone);
  SessionPicture session = sessionAt(0, 0);
  session.clients[0].index = 3;
  model.add(session, cStart + 6100ms);
  ASSERT_EQ(model.rows().size(), 1U) << "it came back in another row";
  model.add({}, cStart + 20s);
  EXPECT_TRUE(model.rows().empty());
}

TEST(Top, EveryPictureFitsItsScreenWhateverTheTextsAndTheKeys) {
  SessionPicture session = sessionAt(1000, 0.5F);
  session.clients.resize(30, session.clients[0]);
  for (int i = 0; i < 30; ++i) {
    ClientPicture& client = session.clients[static_cast<std::size_t>(i)];
    client.index = i;
    client.id = std::string(static_cast<std::size_t>(i) * 2, 'i') + "\x1b[31m\n\xFF";
    client.name = "音量音量音量音量音量音量音量音量";
    client.send = ringAt(1000, static_cast<unsigned>(i) * 3, 0.5F);
  }
  TopModel model(false);
  model.add(session, cStart);
  for (const bool isUTF8 : {false, true}) {
    TopView view("", isUTF8);
    view.take(model);
    for (int key = 0; key < 3 * static_cast<int>(eTopKey::eQuit); ++key) {
      for (const auto& [width, height] :
           {std::pair{80, 24}, {200, 50}, {40, 10}, {30, 3}, {1, 1}}) {
        const std::vector<TopLine> lines = view.lines(width, height);
        ASSERT_EQ(lines.size(), static_cast<std::size_t>(height));
        for (const TopLine& line : lines)
          EXPECT_EQ(line.text().find_first_of("\n\x1b\xFF"), std::string::npos);
        if (view.isOpen() || width < 30 || key != 0) continue;
        for (std::size_t i = 1; i < lines.size(); ++i)
          EXPECT_LE(columnsOf(lines[i].text()), static_cast<std::size_t>(width)) << lines[i].text();
      }
      EXPECT_TRUE(view.handle(static_cast<eTopKey>(key % static_cast<int>(eTopKey::eQuit))));
    }
  }
}

}  // namespace
