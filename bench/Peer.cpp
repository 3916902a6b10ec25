// SPDX-License-Identifier: BSL-1.0
#include "bench/Peer.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <utility>

#include <spawn.h>
#include <sys/wait.h>
#if __has_include(<sys/prctl.h>)
#include <sys/prctl.h>
#endif

#include "bench/HandWritten.h"
#include "bench/Measure.h"
#include "bench/World.h"
#include "lipc/realtime/MappedRing.h"

extern char** environ;

namespace bench {
namespace {

volatile std::sig_atomic_t sIsEnding = 0;

void endOnRequest() {
  struct sigaction action {};
  action.sa_handler = [](int) { sIsEnding = 1; };
  sigaction(SIGTERM, &action, nullptr);
}

/// Tries for `look`; whether it succeeded.
template <class Try>
bool lookFor(std::chrono::microseconds look, Try tryOnce) {
  constexpr int cTriesPerClock = 16;
  if (look.count() == 0) return false;
  const auto end = Clock::now() + look;
  do {
    for (int i = 0; i < cTriesPerClock; ++i) {
      if (tryOnce()) return true;
      relax();
    }
  } while (Clock::now() < end);
  return false;
}

/// The client's two rings in this process.
struct Rings {
  LIPC::ShmManagedOpen<LIPC::SHMSlices> send{
      (std::string(JoinedClient::cID) + LIPC::cSendSuffix).c_str()};
  LIPC::ShmManagedOpen<LIPC::SHMSlices> returns{
      (std::string(JoinedClient::cID) + LIPC::cReturnSuffix).c_str()};
};

/// Copies blocks from a client's "-send" into its "-return" ring.
class EchoHost {
 public:
  EchoHost()
      : mSend(mRings.send.get(), mRings.send.mappedBytes()),
        mReturns(mRings.returns.get(), mRings.returns.mappedBytes()),
        mNewData(mSession->newAudioDataSemaphore) {}

  void serve(std::chrono::microseconds look) {
    while (sIsEnding == 0) {
      if (!lookFor(look, [this] { return mNewData.try_wait(); })) mNewData.wait();
      std::int64_t stamp = 0;
      while (mBuffer->newDataQueue.take(stamp))
        answer(stamp);
    }
  }

 private:
  void answer(std::int64_t stamp) {
    LIPC::SHMSliceBuffer* from = mSend.find(stamp);
    LIPC::SHMSliceBuffer* to = mReturns.find(stamp);
    if (from == nullptr || to == nullptr) return;
    const LIPC::SliceSamples source = mSend.samplesOf(*from);
    const LIPC::SliceSamples target = mReturns.samplesOf(*to);
    const std::size_t bytes =
        std::min(from->sampleCount, LIPC::SHMChannel::cSampleCount) * sizeof(float);
    for (unsigned c = 0; c < std::min(source.channelCount, target.channelCount); ++c)
      std::memcpy(target.channel(c), source.channel(c), bytes);
    std::memcpy(to->parameters, from->parameters, sizeof to->parameters);
    LIPC::storeRelease(to->ready, std::uint8_t{1});
  }

  LIPC::ShmManagedOpen<LIPC::SessionBuffer> mSession{LIPC::cSessionSegment};
  LIPC::ShmManagedOpen<LIPC::ClientBuffer> mBuffer{JoinedClient::cID};
  Rings mRings;
  LIPC::MappedRing mSend;
  LIPC::MappedRing mReturns;
  LIPC::SemaphoreHandle mNewData;
};

/// The peer of HandWritten.
class HandPeer {
 public:
  HandPeer(unsigned channels, int samples)
      : mChannels(channels), mBytes(static_cast<std::size_t>(samples) * sizeof(float)) {}

  void serve(std::chrono::microseconds look, bool isPonging) {
    for (std::int64_t block = 1; sIsEnding == 0; ++block) {
      if (!lookFor(look, [this] { return mNotice.tryWait(); })) mNotice.wait();
      answer(block);
      if (isPonging) mPong.post();
    }
  }

 private:
  void answer(std::int64_t block) {
    LIPC::SHMSliceBuffer& from = mRings.send->slices[indexOf(block)];
    LIPC::SHMSliceBuffer& to = mRings.returns->slices[indexOf(block)];
    const float* const source = from.getChannelSamples(0);
    float* const target = to.getChannelSamples(0);
    for (unsigned c = 0; c < mChannels; ++c) {
      const std::size_t channel = c * LIPC::SHMChannel::cSampleCount;
      std::memcpy(target + channel, source + channel, mBytes);
    }
    std::memcpy(to.parameters, from.parameters, sizeof to.parameters);
    LIPC::storeRelease(to.timeStamp, block);
  }

  /// The client's first slice of six is the one behind slice 0.
  static int indexOf(std::int64_t block) { return static_cast<int>((block + 1) % Slices::cCount); }

  unsigned mChannels;
  std::size_t mBytes;
  Rings mRings;
  BareSemaphore mNotice{std::string(HandWritten::cName) + "Notice", false};
  BareSemaphore mPong{std::string(HandWritten::cName) + "Pong", false};
};

void dieWithParent() {
#ifdef PR_SET_PDEATHSIG
  prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
}

}  // namespace

std::string Peer::msProgram;

Peer::Peer(const PeerOptions& options, std::function<void()> wake) : mWake(std::move(wake)) {
  std::vector<std::string> arguments = {msProgram,
                                        "peer",
                                        options.kind,
                                        std::to_string(options.core),
                                        std::to_string(options.look.count()),
                                        std::to_string(options.channels),
                                        std::to_string(options.samples)};
  std::vector<char*> pointers;
  for (std::string& argument : arguments)
    pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  if (posix_spawn(&mProcess, msProgram.c_str(), nullptr, nullptr, pointers.data(), environ) != 0) {
    throw std::runtime_error("the peer does not start");
  }
}

Peer::~Peer() {
  kill(mProcess, SIGTERM);
  do {
    mWake();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  } while (waitpid(mProcess, nullptr, WNOHANG) == 0);
}

int Peer::run(const std::vector<std::string>& arguments) {
  if (arguments.size() != 5) return 2;
  endOnRequest();
  dieWithParent();
  const std::string& kind = arguments[0];
  pinTo(std::stoi(arguments[1]));
  const std::chrono::microseconds look(std::stoi(arguments[2]));
  if (kind == "echo") {
    EchoHost().serve(look);
  } else {
    HandPeer(static_cast<unsigned>(std::stoul(arguments[3])), std::stoi(arguments[4]))
        .serve(look, kind == "pong");
  }
  return 0;
}

}  // namespace bench
