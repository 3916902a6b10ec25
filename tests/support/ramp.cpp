// A participant that sends a ramp to itself through wires that permute its channels, and looks at
// every sample that comes back. Each sample's value says which channel and which moment it is of.
//
//   ramp ID CHANNELS BLOCKSIZE
//
// Commands on standard input, a line each, answered by a line:
//   paced N      N blocks, each sent when the one before was answered
//   clock N      N blocks in real time
//   burst N      N blocks without a pause
//   channels N   plays on while it changes to N channels, until it is back with them, and answers
//                with the wrong blocks meanwhile; N is even
//   mute C       routes output C to nothing
// The first three answer "COMMAND exact E silent S wrong W", counted in blocks. Ends at the end of
// the input.
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "examples/BlockClock.h"
#include "lipc/client/Client.h"
#include "lipc/util/SharedWord.h"
#include "tests/support/Wait.h"

namespace {

using namespace std::chrono_literals;
using LIPC::ClientID;

constexpr int cMostChannels = 16;
constexpr int cLatencyBlocks = LIPC::BlockExchange::cLatencyBlocks;

/// Whole numbers below 2^24 are exact. 0 is none of them.
float sampleOf(int channel, long long t) {
  return static_cast<float>((t % 1'000'000) * cMostChannels + channel + 1);
}

int sourceOf(int output) {
  return output ^ 1;  // a permutation for every even count
}

class Ramp final : public LIPC::Client {
 public:
  Ramp(const std::string& id, int channels, int blockSize)
      : Client(static_cast<int>(LIPC::fourCharacterCode("RAMP")), "Ramp"), mBlockSize(blockSize) {
    for (auto& channel : mAudio)
      channel.resize(static_cast<std::size_t>(blockSize));
    setAutoConnectLoopDurationMS(500);
    configBeginEdit();
    configSetMode(
        static_cast<LIPC::eClientMode>(LIPC::eClientModeInputs | LIPC::eClientModeOutputs));
    configSetClientID(id.c_str());
    const ClientID self(id);
    LIPC::Connection& wires = configEditConnection(self, self);
    for (int output = 0; output < cMostChannels; ++output)
      wires.addWire(sourceOf(output), output);
    configEndEdit();
    setChannels(channels);
    startLIPCSession(0);
  }
  ~Ramp() override { stopLIPCSession(); }

  void setChannels(int channels) {
    configBeginEdit();
    mChannels = channels;
    configSetIOChannelCount(channels, channels);
    configEndEdit();
  }

  /// Returns the blocks that were wrong until it was back.
  int changeChannels(int channels) {
    const int joinsBefore = joins;
    const int channelsBefore = mChannels;
    mExact = mSilent = mWrong = 0;
    setChannels(channels);
    while (joins == joinsBefore) {
      trade();
      if (!isUntouched()) check(channelsBefore);
      std::this_thread::sleep_for(1ms);
    }
    forget();
    return mWrong;
  }

  void mute(int output) {
    mMuted = output;
    configGetOutputRouting()[static_cast<std::size_t>(output)] = -1;
  }

  void send(const std::string& how, int blocks) {
    mExact = mSilent = mWrong = 0;
    examples::BlockClock clock(mBlockSize, 1.0);
    for (int block = 0; block < blocks; ++block) {
      if (how == "clock") clock.wait();
      trade();
      check(mChannels);
      if (how == "paced") waitForAnswer();
    }
    std::printf("%s exact %d silent %d wrong %d\n", how.c_str(), mExact, mSilent, mWrong);
  }

  void onLIPCConnectionEstablished() override {
    mReturns = std::make_unique<LIPC::ShmManagedOpen<LIPC::SHMSlices>>(
        (configGetClientID() + LIPC::cReturnSuffix).c_str());
    ++joins;
  }

  void onLIPCConnectionToBeRemoved() override { std::puts("removed"); }

  std::atomic<int> joins{0};

 private:
  void trade() {
    mStamp += mBlockSize;
    float* channels[cMostChannels];
    for (int c = 0; c < cMostChannels; ++c) {
      channels[c] = mAudio[c].data();
      for (int i = 0; i < mBlockSize; ++i)
        mAudio[c][static_cast<std::size_t>(i)] = sampleOf(c, mStamp + i);
    }
    processLIPC(channels, mBlockSize, mChannels, 0, mStamp, nullptr, 0, nullptr, 0, false);
  }

  /// As a call leaves them outside the session.
  bool isUntouched() const { return mAudio[0][0] == sampleOf(0, mStamp); }

  void check(int channels) {
    bool isExact = true;
    bool isSilent = true;
    for (int output = 0; output < channels; ++output) {
      const int source = sourceOf(output);
      for (int i = 0; i < mBlockSize; ++i) {
        const float heard = mAudio[output][static_cast<std::size_t>(i)];
        const float sent = sampleOf(source, mStamp - cLatencyBlocks * mBlockSize + i);
        isExact = isExact && heard == (output == mMuted ? 0.0F : sent);
        isSilent = isSilent && heard == 0.0F;
      }
    }
    ++(isExact ? mExact : isSilent ? mSilent : mWrong);
  }

  void waitForAnswer() {
    support::eventually(10s, [&] {
      const LIPC::SHMSliceBuffer* slot = mReturns->get()->getSliceWithTime(mStamp);
      for (int look = 0; look < 1000; ++look) {
        if (slot == nullptr || LIPC::loadAcquire(slot->ready) != 0) return true;
        std::this_thread::yield();
      }
      return false;
    });
  }

  /// A rejoin begins with silence.
  void forget() { mStamp += cLatencyBlocks * mBlockSize; }

  const int mBlockSize;
  int mChannels = 0;
  int mMuted = -1;
  long long mStamp = 0;
  std::vector<float> mAudio[cMostChannels];
  std::unique_ptr<LIPC::ShmManagedOpen<LIPC::SHMSlices>> mReturns;
  int mExact = 0;
  int mSilent = 0;
  int mWrong = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 1;
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  Ramp ramp(argv[1], std::stoi(argv[2]), std::stoi(argv[3]));
  if (!support::eventually(20s, [&] { return ramp.joins > 0 && ramp.isConnected(); })) return 2;
  std::puts("joined");
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string command;
    int number = 0;
    words >> command >> number;
    if (command == "channels") {
      const int wrong = ramp.changeChannels(number);
      std::printf("channels %d wrong %d\n", number, wrong);
    } else if (command == "mute") {
      ramp.mute(number);
      std::puts("mute");
    } else {
      ramp.send(command, number);
    }
  }
}
