// SPDX-License-Identifier: BSL-1.0

// What the bridge does in JACK's process callback, called as JACK calls it, in a session.
#include <array>
#include <numeric>

#include "bridges/jack/AudioCallback.h"
#include "bridges/jack/FillControl.h"
#include "tests/support/TestClient.h"
#include "tests/support/TestHost.h"

namespace {

using namespace jack_bridge;
using namespace support;

/// A bridge whose second channel the session hands back to it, and JACK's buffers.
class Loop final : public TestClient {
 public:
  Loop() : TestClient("jack"), callback(*this, answers, 2, 2) {
    configBeginEdit();
    configSetIOChannelCount(2, 2);
    configEditConnection(LIPC::ClientID("jack"), LIPC::ClientID("jack")).addWire(1, 1);
    configEndEdit();
  }
  ~Loop() override { stopLIPCSession(); }
  void onLIPCConnectionEstablished() override {
    answers.attach("jack");
    TestClient::onLIPCConnectionEstablished();
  }
  void onLIPCConnectionToBeRemoved() override { answers.detach(); }

  /// A period whose samples count the frames; what came out of the second port.
  std::vector<float> period(unsigned frames, std::uint32_t frameTime) {
    for (unsigned i = 0; i < frames; ++i)
      in[0][i] = in[1][i] = static_cast<float>(frameTime + i);
    for (auto& channel : out)
      channel.fill(-1);
    const float* const ins[] = {in[0].data(), in[1].data()};
    float* const outs[] = {out[0].data(), out[1].data()};
    callback.period({frames, frameTime, 1'000'000, ins, outs});
    EXPECT_EQ(out[0][frames - 1], 0.0F) << "nobody is connected to it";
    EXPECT_EQ(out[1][frames], -1.0F) << "behind the period";
    return {out[1].begin(), out[1].begin() + frames};
  }
  /// Waits until the host has answered the newest block.
  bool isAnswered() const {
    const LIPC::ShmManagedOpen<LIPC::SHMSlices> ring("jack-return");
    return eventually(
        10s, [&] { return LIPC::loadAcquire(ring->slices[ring->currentIndex()].ready) != 0; });
  }

  AnswerWatch answers;
  AudioCallback callback;
  std::array<std::array<float, 4097>, 2> in, out;
};

std::vector<float> countFrom(std::uint32_t first, unsigned count) {
  std::vector<float> samples(count);
  std::iota(samples.begin(), samples.end(), static_cast<float>(first));
  return samples;
}

const auto silence = [](unsigned count) { return std::vector<float>(count); };

TEST(JackCallback, WhatGoesInComesBackFourBlocksLaterAndAfterAJumpOfTheStampsNothingOld) {
  TestHost host;
  Loop bridge;
  bridge.callback.begin(48000, 0);
  EXPECT_EQ(bridge.period(256, 0), silence(256)) << "silent until a mode is set";
  bridge.callback.setMode(AudioCallback::eDirect);
  EXPECT_EQ(bridge.period(256, 256), silence(256)) << "outside the session";
  ASSERT_TRUE(bridge.join());
  std::uint32_t t = 5000;
  const auto run = [&](unsigned frames, unsigned pieces, unsigned periods) {
    for (unsigned n = 0; n < periods; ++n, t += frames) {
      const unsigned latency = 4 * frames / pieces;
      const bool isDue = n * frames >= latency;
      const auto wanted = isDue ? countFrom(t - latency, frames) : silence(frames);
      EXPECT_EQ(bridge.period(frames, t), wanted) << frames << " frames, " << n;
      ASSERT_TRUE(bridge.isAnswered());
    }
  };
  run(256, 1, 8);
  EXPECT_EQ(bridge.answers.late() + bridge.answers.missing(), 0U);
  t += 1000;  // an xrun
  run(256, 1, 8);
  EXPECT_EQ(bridge.answers.missing(), 4U);
  t += 100'000;
  run(2048, 2, 6);
  t += 100'000;
  run(1024, 1, 6);
  for (const unsigned uncuttable : {2U, 1031U})
    EXPECT_EQ(bridge.period(uncuttable, t), silence(uncuttable));
}

TEST(JackCallback, BlocksThatTheHostDoesNotAnswerAreCountedAsLateWithoutAWordOnTheAudioThread) {
  host::HostOptions deaf;
  deaf.faults.noAudio = true;
  TestHost host(deaf);
  Loop bridge;
  bridge.callback.begin(48000, 0);
  bridge.callback.setMode(AudioCallback::eDirect);
  ASSERT_TRUE(bridge.join());
  testing::internal::CaptureStdout();
  for (std::uint32_t n = 0; n < 100; ++n)
    EXPECT_EQ(bridge.period(64, 1000 + 64 * n), silence(64));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(bridge.answers.late(), 96U) << "the first four were not due";
}

TEST(JackCallback, PeriodsAreCutIntoEqualBlocksOfASession) {
  const auto cut = [](unsigned period) {
    const Pieces pieces = Pieces::of(period);
    return std::pair(pieces.count, pieces.frames);
  };
  for (const unsigned whole : {3U, 64U, 1024U})
    EXPECT_EQ(cut(whole), std::pair(1U, whole));
  EXPECT_EQ(cut(1536), std::pair(2U, 768U));
  EXPECT_EQ(cut(3072), std::pair(3U, 1024U));
  EXPECT_EQ(cut(8192), std::pair(8U, 1024U));
  EXPECT_TRUE(Pieces::of(4096).arePaced() && !Pieces::of(3072).arePaced());
  EXPECT_EQ(Pieces::of(4096).latencyFrames(), 8192U) << "four blocks and the period";
  for (const unsigned none : {0U, 2U, 1031U, 4099U})
    EXPECT_EQ(cut(none).first, 0U) << none;
}

TEST(JackCallback, BridgesOfOneServerAgreeOnTheTimeWheneverTheyStart) {
  constexpr std::int64_t rate = 48000, server = 3'141'592'653;  // JACK's frame 0, by its clock
  const auto microsecondsAt = [](std::int64_t frame) {
    return static_cast<std::uint64_t>((frame + server) * 125 / 6);
  };
  constexpr std::int64_t wrap = std::int64_t{1} << 32;
  FrameTime early(rate, 0);
  std::int64_t first = 0;
  for (std::int64_t frame = 1000; frame < 2 * wrap; frame += rate * 3600) {
    const auto now = static_cast<std::uint32_t>(frame);
    // The card's clock is 50 parts in a million fast.
    const std::uint64_t microseconds = microsecondsAt(frame - frame / 20000);
    const std::int64_t time = early.widen(now, microseconds);
    if (frame == 1000) first = time;
    EXPECT_EQ(time - first, frame - 1000) << "goes on through the wrap";
    EXPECT_EQ(FrameTime(rate, 0).widen(now, microseconds), time) << "by JACK's clock";
    EXPECT_EQ(FrameTime(rate, time - 4096).widen(now, 0), time) << "beside another bridge";
    EXPECT_EQ(FrameTime(rate, time + 20 * rate).widen(now, microseconds), time)
        << "a stamp of before the server's last start";
  }
}

TEST(JackCallback, WhereAnotherClockCountsPeriodsPassThroughTheRings) {
  TestClient client("jack");
  AnswerWatch answers;
  AudioCallback callback(client, answers, 1, 1);
  callback.begin(48000, 0);
  callback.setMode(AudioCallback::eResampled);
  std::array<float, 64> in, out;
  const float* const ins[] = {in.data()};
  float* const outs[] = {out.data()};
  in.fill(0.5F);
  callback.period({64, 1000, 1, ins, outs});
  EXPECT_EQ(out[63], 0.0F) << "nothing is there";
  callback.fromSession().write(100, [](unsigned, unsigned i) { return static_cast<float>(i); });
  callback.period({64, 1064, 2, ins, outs});
  EXPECT_EQ(out[63], 63.0F);
  callback.period({64, 1128, 3, ins, outs});
  EXPECT_EQ(out[63], 0.0F) << "36 are not enough";
  const AudioCallback::Mark mark = callback.mark();
  EXPECT_TRUE(mark.microseconds == 3 && mark.frames == 64);
  EXPECT_TRUE(mark.written == 192 && mark.taken == 64);
  for (int n = 0; n < 1000; ++n)
    callback.period({64, 0, 4, ins, outs});
  EXPECT_EQ(callback.toSession().fill(), AudioCallback::cRingFrames) << "no more than it holds";
  callback.setMode(AudioCallback::ePaced);
  EXPECT_EQ(callback.mark().microseconds, 0) << "nothing of the mode before";
  EXPECT_EQ(callback.toSession().fill() + callback.fromSession().fill(), 0U);
}

TEST(JackCallback, TheFillOfARingFindsByHowMuchTwoClocksDiffer) {
  constexpr double blockSeconds = 256.0 / 48000;
  for (const double drift : {50e-6, -200e-6}) {
    FillControl control;
    control.refilled();
    double error = 0.0012, most = 0, noise = 0.0005;
    for (int block = 0; block < 60 / blockSeconds; ++block, noise = -noise) {
      const double speed = control.update(error + noise, blockSeconds);
      error += (drift - speed) * blockSeconds;
      most = std::max(most, std::abs(speed));
    }
    EXPECT_NEAR(control.drift(), drift, 2e-6);
    EXPECT_NEAR(error, 0.0012, 0.0005) << "as full as it was when filled";
    EXPECT_LT(most, 2 * std::abs(drift) + 20e-6) << "nobody hears it";
  }
}

}  // namespace
