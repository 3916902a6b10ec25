// SPDX-License-Identifier: BSL-1.0
#include "bench/World.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

#include <sys/resource.h>

#include "bench/Measure.h"

namespace bench {
namespace {

using namespace std::chrono_literals;

constexpr int cFirstBlocks = 12;

std::unique_ptr<host::SessionHost> sHost;
std::unique_ptr<World> sWorld;
int sPass = -1;

long pageFaultsOfThread() {
  rusage usage{};
#ifdef RUSAGE_THREAD
  getrusage(RUSAGE_THREAD, &usage);
#else
  getrusage(RUSAGE_SELF, &usage);
#endif
  return usage.ru_minflt + usage.ru_majflt;
}

}  // namespace

JoinedClient::JoinedClient(unsigned channels, Caller& warmUp)
    : Client(static_cast<int>(LIPC::fourCharacterCode("BNCH")), cID), mChannels(channels) {
  join();
  findSlices();
  fillReturns();
  measureFirstBlocks(warmUp);
}

void JoinedClient::join() {
  setAutoConnectLoopDurationMS(500);
  configBeginEdit();
  configSetMode(static_cast<LIPC::eClientMode>(LIPC::eClientModeInputs | LIPC::eClientModeOutputs));
  configSetClientID(cID);
  configSetIOChannelCount(static_cast<int>(mChannels), static_cast<int>(mChannels));
  configEndEdit();
  startLIPCSession(0);
  for (int attempt = 0; !isConnected(); ++attempt) {
    if (attempt == 1000) throw std::runtime_error("the client does not join");
    std::this_thread::sleep_for(10ms);
  }
  mBuffer = std::make_unique<LIPC::ShmManagedOpen<LIPC::ClientBuffer>>(cID);
  mSession = std::make_unique<LIPC::ShmManagedOpen<LIPC::SessionBuffer>>(LIPC::cSessionSegment);
  if (mBuffer->get() == nullptr || mSession->get() == nullptr) {
    throw std::runtime_error("no segment of the session");
  }
  mNewData = std::make_unique<LIPC::SemaphoreHandle>((*mSession)->newAudioDataSemaphore);
}

/// After six the first of each ring is the next again.
void JoinedClient::findSlices() {
  for (int i = 0; i < Slices::cCount; ++i) {
    mSlices.sends[i] = prepareSendBuffer(-1000 * (i + 1), 0, 0);
    mSlices.returns[i] = prepareReturnBuffer(-1000 * (i + 1), 0, 0);
    if (mSlices.returns[i] == nullptr) throw std::runtime_error("the client has left");
  }
}

void JoinedClient::fillReturns() {
  for (LIPC::SHMSliceBuffer* slot : mSlices.returns) {
    std::fill_n(slot->parameters, cParameters, cSample);
    std::fill_n(slot->getChannelSamples(0), mChannels * LIPC::SHMChannel::cSampleCount, cSample);
  }
}

void JoinedClient::measureFirstBlocks(Caller& caller) {
  const long before = pageFaultsOfThread();
  const auto start = Clock::now();
  exchange(caller);
  mFirstBlockNS = nanoseconds(Clock::now() - start);
  for (int block = 1; block < cFirstBlocks; ++block) {
    answer();
    exchange(caller);
  }
  mPageFaults = pageFaultsOfThread() - before;
  drain();
}

void JoinedClient::exchange(Caller& caller) {
  mTimeStamp += caller.samples;
  ++mBlock;
  processLIPC(caller.channels.data(), caller.samples, static_cast<int>(caller.channels.size()), 0,
              mTimeStamp, caller.parameters.data(), cParameters, caller.returned.data(),
              cParameters, false);
}

void JoinedClient::drain() {
  std::int64_t stamp = 0;
  while ((*mBuffer)->newDataQueue.take(stamp)) {
  }
  mNewData->clear();
}

void startHost() {
  if (sHost) return;
  host::HostOptions options;
  options.faults.noAudio = true;  // the peers are the host's audio
  sHost = std::make_unique<host::SessionHost>(options, [](const inspect::Event&) {});
}

World& worldOf(int pass, unsigned channels) {
  startHost();
  if (!sWorld || sPass != pass || sWorld->channels != channels) {
    sWorld.reset();
    sWorld = std::make_unique<World>(channels);
    sPass = pass;
  }
  return *sWorld;
}

void endWorld() {
  sWorld.reset();
  sHost.reset();
}

}  // namespace bench
