// SPDX-License-Identifier: BSL-1.0

// A tone of one machine's session, heard in another's.
#include "tests/bridges/Jack.h"

namespace {

using namespace support;

constexpr int cRate = 48000;

/// What the other machine's meter wrote, its first channel. `said`: what was printed. `status`: 77
/// where this machine cannot be two.
std::vector<float> heardThrough(const std::string& transport, int seconds, std::string& said,
                                int& status) {
  const std::string wav = "/tmp/jack-" + transport + ".wav";
  std::filesystem::remove(wav);
  Process machines({LIPC_MACHINES, LIPC_BUILD, transport, wav, std::to_string(seconds)});
  status = machines.wait(60s);
  while (machines.waitForLine("", 1s))
    continue;
  said = machines.output();
  std::ifstream file(wav, std::ios::binary);
  file.seekg(44);
  std::vector<float> channel;
  for (float frame[2]; file.read(reinterpret_cast<char*>(frame), sizeof frame);)
    channel.push_back(frame[0]);
  return channel;
}

// On a machine that is busy now and then a period is lost.
constexpr int cStretch = cRate / 10;

/// Whether a tenth of a second of it is the tone, sample by sample, wherever that begins.
bool isToneAt(const std::vector<float>& heard, std::size_t from) {
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

bool isTone(const std::vector<float>& heard) {
  for (std::size_t from = 0; from + cStretch < heard.size(); from += cStretch / 8) {
    if (isToneAt(heard, from)) return true;
  }
  return false;
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

/// Listens for longer and longer: on a busy machine a transport is silent for seconds, and now and
/// then both ends agree to begin, and one sends nothing.
void expectThrough(const std::string& transport, bool (*isIt)(const std::vector<float>&)) {
  std::string said;
  for (int seconds = 4; seconds <= 16; seconds += 4) {
    int status = 0;
    if (isIt(heardThrough(transport, seconds, said, status))) return;
    if (status == 77) GTEST_SKIP() << said;
  }
  ADD_FAILURE() << "a tenth of a second without a break: " << said;
}

TEST(JackMachines, ATonePassesJacksNetworkDriverSampleBySample) {
  expectThrough("netjack", isTone);
}

TEST(JackMachines, ATonePassesJackTripAtItsLevelAndFrequency) {
  expectThrough("jacktrip", hasTone);
}

}  // namespace
