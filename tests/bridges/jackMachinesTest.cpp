// SPDX-License-Identifier: BSL-1.0

// A tone of one machine's session, heard in another's.
#include "tests/bridges/Jack.h"

namespace {

using namespace support;

constexpr int cRate = 48000;

/// What the other machine's meter wrote, its first channel; empty where the test is skipped.
std::vector<float> heardThrough(const std::string& transport, std::string& said) {
  const std::string wav = "/tmp/jack-" + transport + ".wav";
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

constexpr int cStretch = cRate / 10;  // on a machine that is busy now and then a period is lost

/// Whether a tenth of a second of it is the tone, sample by sample, wherever that begins.
bool isTone(const std::vector<float>& heard, std::size_t from) {
  constexpr int cPattern = cRate / 40;  // the tone's samples repeat: 11 periods
  for (int shift = 0; shift < cPattern; ++shift) {
    int count = 0;
    while (count < cStretch && std::abs(heard[from + static_cast<std::size_t>(count)] -
                                        toneAt(shift + count, cRate)) < 1e-6F) {
      ++count;
    }
    if (count == cStretch) return true;
  }
  return false;
}

TEST(JackMachines, ATonePassesJacksNetworkDriverSampleBySample) {
  std::string said;
  const std::vector<float> heard = heardThrough("netjack", said);
  if (heard.empty() && !HasFailure()) GTEST_SKIP() << said;
  ASSERT_FALSE(HasFailure());
  std::size_t from = 0;
  while (from + cStretch < heard.size() && !isTone(heard, from))
    from += cStretch / 8;
  EXPECT_LT(from + cStretch, heard.size()) << "a tenth of a second without a break";
}

/// Whether a tenth of a second of it has the tone's level and frequency.
bool hasTone(const std::vector<float>& heard) {
  for (auto from = heard.begin(); heard.end() - from >= cStretch; from += cStretch / 2) {
    const Recorder::Heard piece{0, {from, from + cStretch}};
    if (std::abs(piece.peak() - cAmplitude) < 0.003 &&
        std::abs(piece.frequency(cRate) - cTone) < 2) {
      return true;
    }
  }
  return false;
}

TEST(JackMachines, ATonePassesJackTripAtItsLevelAndFrequency) {
  bool isThere = false;
  // Where they are busy both sides of JackTrip now and then agree to begin, and one sends nothing.
  for (int tries = 0; tries < 3 && !isThere; ++tries) {
    std::string said;
    const std::vector<float> heard = heardThrough("jacktrip", said);
    if (heard.empty() && !HasFailure()) GTEST_SKIP() << said;
    ASSERT_FALSE(HasFailure());
    isThere = hasTone(heard);
  }
  EXPECT_TRUE(isThere);
}

}  // namespace
