// SPDX-License-Identifier: BSL-1.0
#include "host/ProcessorCycle.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <exception>
#include <utility>

#include "lipc/util/SharedWord.h"
#include "lipc/util/Threads.h"

namespace host {
using LIPC::ClientEntry;

ProcessorCycle::ProcessorCycle(LIPC::SessionBuffer& session, std::mutex& tableMutex, Report report)
    : mSession(session),
      mTableMutex(tableMutex),
      mReport(std::move(report)),
      mThread(LIPC::startThread([this] { run(); })) {}

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
  copyClients();
  const std::lock_guard lock(mMutex);
  for (auto library = mLibraries.begin(); library != mLibraries.end();) {
    const auto current = library++;
    try {
      drive(**current, timestamp);
    } catch (const std::exception& error) {
      mReport("the processor of " + (*current)->path() +
              " is not called any more: " + error.what());
      mLibraries.erase(current);
    }
  }
}

void ProcessorCycle::copyClients() {
  mClients.clear();
  const std::lock_guard table(mTableMutex);
  for (const ClientEntry& row : mSession.entries) {
    if (!row.isFree()) mClients.push_back(row);
  }
}

void ProcessorCycle::drive(ProcessorLibrary& library, long long timestamp) {
  LIPC::AudioProcessor& processor = library.processor();
  const auto own = std::find_if(mClients.begin(), mClients.end(), [&](const ClientEntry& client) {
    return client.type == library.clientType();
  });
  Parameters parameters{};
  if (own != mClients.end()) {
    std::memcpy(parameters.data(), own->offlineParameters, sizeof own->offlineParameters);
  }
  const Parameters before = parameters;
  processor.preProcess(timestamp);
  for (const ClientEntry& client : mClients) {
    processor.updateInput(client.id, &client, nullptr, 0, cBlockFrames, client.offlineParameters,
                          nullptr, false);
    processor.updateOutput(client.id, static_cast<int>(client.type), nullptr, 0, cBlockFrames,
                           parameters.data(), client.offlineParameters);
  }
  processor.process(cBlockFrames);
  processor.updateParameters(parameters.data(), nullptr);
  publish(library.clientType(), before, parameters);
  processor.postProcess(timestamp);
}

/// Writes the slots that the processor changed into the row of the library's client.
void ProcessorCycle::publish(std::uint32_t type, const Parameters& before,
                             const Parameters& after) {
  // By their bits: a NaN is the same as itself.
  const auto areSame = [](float a, float b) {
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
  };
  if (std::equal(before.begin(), before.end(), after.begin(), areSame)) return;
  const std::lock_guard table(mTableMutex);
  for (ClientEntry& row : mSession.entries) {
    if (row.isFree() || row.type != type) continue;
    for (unsigned slot = 0; slot < LIPC::cOfflineParameterCount; ++slot) {
      if (!areSame(before[slot], after[slot])) {
        LIPC::storeRelaxed(row.offlineParameters[slot], after[slot]);
      }
    }
    return;
  }
}

}  // namespace host
