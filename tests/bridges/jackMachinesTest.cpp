// SPDX-License-Identifier: BSL-1.0

// A tone of one machine's session, heard in another's.
#include "tests/bridges/Jack.h"

namespace {

using namespace support;

constexpr int cRate = 48000;

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
  for (std::size_t from = 0; from + cStretch < heard.size(); from += cStretch / 2) {
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

/// What the other machine's meter wrote so far, its first channel.
std::vector<float> channelOf(const std::string& wav) {
  std::ifstream file(wav, std::ios::binary);
  file.seekg(44);
  std::vector<float> channel;
  for (float frame[2]; file.read(reinterpret_cast<char*>(frame), sizeof frame);)
    channel.push_back(frame[0]);
  return channel;
}

/// Starts both machines, three times at the most: where they are busy both sides of a transport
/// now and then agree to begin, and one sends nothing.
void expectHeard(const std::string& transport, bool (*isIt)(const std::vector<float>&)) {
  const std::string wav = LIPC_SCRATCH "/jack-" + transport + ".wav";
  std::string said;
  for (int tries = 0; tries < 3; ++tries) {
    std::filesystem::remove(wav);
    Process machines({LIPC_MACHINES, LIPC_BUILD, transport, wav});
    const auto isOver = [&] {
      std::this_thread::sleep_for(250ms);
      return isIt(channelOf(wav)) || !machines.isRunning();
    };
    if (eventually(40s, isOver) && isIt(channelOf(wav))) return;
    machines.signal(SIGKILL);
    const int status = machines.wait(10s);
    while (machines.waitForLine("", 1s))
      continue;
    said = machines.output();
    if (status == 77) GTEST_SKIP() << said;
  }
  ADD_FAILURE() << "a tenth of a second without a break: " << said;
}

TEST(JackMachines, ATonePassesJacksNetworkDriverSampleBySample) {
  expectHeard("netjack", isTone);
}

TEST(JackMachines, ATonePassesJackTripAtItsLevelAndFrequency) {
  expectHeard("jacktrip", hasTone);
}

}  // namespace
