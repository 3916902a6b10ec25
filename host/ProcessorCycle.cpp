#include "host/ProcessorCycle.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include "lipc/util/SharedWord.h"
#include "lipc/util/Threads.h"

namespace host {
namespace {

using LIPC::ClientEntry;

ClientEntry* rowOfType(LIPC::SessionBuffer& session, std::uint32_t type) {
  for (ClientEntry& entry : session.entries) {
    if (!entry.isFree() && entry.type == type) return &entry;
  }
  return nullptr;
}

}  // namespace

ProcessorCycle::ProcessorCycle(LIPC::SessionBuffer& session, std::mutex& tableMutex)
    : mSession(session), mTableMutex(tableMutex), mThread(LIPC::startThread([this] { run(); })) {}

ProcessorCycle::~ProcessorCycle() {
  stop();
}

void ProcessorCycle::add(ProcessorLibrary& library) {
  library.processor().setSampleRate(cSampleRate);
  library.processor().setBlockSize(cBlockFrames);
  const std::lock_guard lock(mMutex);
  mLibraries.push_back(&library);
}

void ProcessorCycle::stop() {
  mStop = true;
  if (mThread.joinable()) mThread.join();
}

void ProcessorCycle::run() {
  LIPC::setCurrentThreadName("LIPC host cycle");
  const auto period = std::chrono::duration_cast<std::chrono::nanoseconds>(
      std::chrono::duration<double>(cBlockFrames / cSampleRate));
  auto next = std::chrono::steady_clock::now();
  for (long long timestamp = 0; !mStop; timestamp += cBlockFrames) {
    cycle(timestamp);
    // After a pause of the machine the missed blocks are not made up for.
    next = std::max(next + period, std::chrono::steady_clock::now());
    std::this_thread::sleep_until(next);
  }
}

void ProcessorCycle::cycle(long long timestamp) {
  const std::unique_lock table(mTableMutex, std::try_to_lock);
  if (!table) return;
  const std::lock_guard lock(mMutex);
  for (ProcessorLibrary* library : mLibraries) {
    LIPC::AudioProcessor& processor = library->processor();
    Parameters parameters{};
    if (const ClientEntry* own = rowOfType(mSession, library->clientType()); own != nullptr) {
      std::memcpy(parameters.data(), own->offlineParameters, sizeof own->offlineParameters);
    }
    processor.preProcess(timestamp);
    showClients(processor, parameters);
    processor.process(cBlockFrames);
    exchangeParameters(*library, parameters);
    processor.postProcess(timestamp);
  }
}

void ProcessorCycle::showClients(LIPC::AudioProcessor& processor, Parameters& parameters) {
  for (const ClientEntry& row : mSession.entries) {
    if (row.isFree()) continue;
    const ClientEntry client = row;
    processor.updateInput(client.id, &client, nullptr, 0, cBlockFrames, client.offlineParameters,
                          nullptr, false);
    processor.updateOutput(client.id, static_cast<int>(client.type), nullptr, 0, cBlockFrames,
                           parameters.data(), client.offlineParameters);
  }
}

void ProcessorCycle::exchangeParameters(ProcessorLibrary& library, Parameters& parameters) {
  const Parameters before = parameters;
  library.processor().updateParameters(parameters.data(), nullptr);
  ClientEntry* own = rowOfType(mSession, library.clientType());
  if (own == nullptr) return;
  for (unsigned slot = 0; slot < LIPC::cOfflineParameterCount; ++slot) {
    if (std::memcmp(&parameters[slot], &before[slot], sizeof(float)) != 0) {
      LIPC::storeRelaxed(own->offlineParameters[slot], parameters[slot]);
    }
  }
}

}  // namespace host
