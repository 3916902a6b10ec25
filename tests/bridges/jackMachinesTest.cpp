// SPDX-License-Identifier: BSL-1.0

// A tone of one machine's session, heard in another's.
#include "tests/bridges/Jack.h"

namespace {

using namespace support;

constexpr int cRate = 48000;

/// What the other machine's meter wrote, its first channel; empty where the test is skipped.
std::vector<float> heardThrough(const std::string& transport, std::string& said) {
  const std::string wav = LIPC_SCRATCH "/jack-" + transport + ".wav";
  std::filesystem::remove(wav);
  Process machines({LIPC_MACHINES, LIPC_BUILD, transport, wav});
  const int status = machines.wait(40s);
  while (machines.waitForLine("", 1s))
    continue;
  said = machines.output();
  if (status == 77) return {};
  EXPECT_EQ(status, 0) << said;
  std::ifstream file(wav, std::ios::binary);
  file.seekg(44);
  std::vector<float> channel;
  for (float frame[2]; file.read(reinterpret_cast<char*>(frame), sizeof frame);)
    channel.push_back(frame[0]);
  EXPECT_GT(channel.size(), 3U * cRate);
  return channel;
}

/// A second of it from the sample where it fits best; in how many samples it is the tone.
int samplesOfTone(const std::vector<float>& heard, std::size_t from) {
  constexpr int cPattern = cRate / 40;  // the tone's samples repeat: 11 periods
  int best = 0;
  for (int shift = 0; shift < cPattern; ++shift) {
    int count = 0;
    for (int i = 0; i < cRate; ++i) {
      const float off = heard[from + static_cast<std::size_t>(i)] - toneAt(i + shift, cRate);
      if (std::abs(off) < 1e-6F) ++count;
      if (i == 100 && count < 90) break;
    }
    best = std::max(best, count);
  }
  return best;
}

TEST(JackMachines, ATonePassesJacksNetworkDriverSampleBySample) {
  std::string said;
  const std::vector<float> heard = heardThrough("netjack", said);
  if (heard.empty() && !HasFailure()) GTEST_SKIP() << said;
  ASSERT_FALSE(HasFailure());
  int most = 0;  // on a machine that is busy a period may be lost
  for (std::size_t from = 0; from + cRate < heard.size() && most < cRate; from += cRate / 2)
    most = std::max(most, samplesOfTone(heard, from));
  EXPECT_EQ(most, cRate) << "a second without a break";
}

TEST(JackMachines, ATonePassesJackTripAtItsLevelAndFrequency) {
  std::string said;
  const std::vector<float> heard = heardThrough("jacktrip", said);
  if (heard.empty() && !HasFailure()) GTEST_SKIP() << said;
  ASSERT_FALSE(HasFailure());
  bool isTone = false;
  for (auto from = heard.begin(); heard.end() - from >= cRate / 4 && !isTone; from += cRate / 8) {
    const Recorder::Heard piece{0, {from, from + cRate / 4}};
    isTone =
        std::abs(piece.peak() - cAmplitude) < 0.003 && std::abs(piece.frequency(cRate) - cTone) < 1;
  }
  EXPECT_TRUE(isTone) << "a quarter of a second";
}

}  // namespace
