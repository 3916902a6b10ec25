// SPDX-License-Identifier: BSL-1.0
#include "settings/IPCProcessor.h"

#include <limits>

#include "lipc/session/SessionNames.h"
#include "settings/IPCDefaultClient.h"

namespace Vexo::Settings {
namespace {

/// Parameters of the mix engine that are watched, and the slot in which the result leaves.
constexpr int cWatchedLevel = 59;
constexpr int cWatchedState = 60;
constexpr int cResultSlot = 39;

constexpr float cStateSet = 2.0F;
constexpr float cStateClear = 0.0F;

/// Truncation toward zero as the x86 conversion does it: what does not fit, and a NaN, gives the
/// smallest integer.
std::int32_t truncated(float value) {
  constexpr float limit = 2147483648.0F;
  if (value >= -limit && value < limit) return static_cast<std::int32_t>(value);
  return std::numeric_limits<std::int32_t>::min();
}

}  // namespace

IPCDefaultClient* IPCProcessor::msDefaultClient = nullptr;

IPCProcessor::IPCProcessor(const char* name, float rate, unsigned int frames)
    : clientID(name), blockSize(frames), sampleRate(rate) {}

void IPCProcessor::setBlockSize(unsigned int) {}

void IPCProcessor::setSampleRate(float) {}

void IPCProcessor::updateParameters(float* parameters, const LIPC::SHMString*) {
  if (parameters != nullptr) parameters[cResultSlot] = mixEngineState;
}

void IPCProcessor::updateInput(const LIPC::ClientID&, const LIPC::ClientEntry*, float**,
                               unsigned short, unsigned int, const float*, const float*, bool) {}

void IPCProcessor::updateOutput(const LIPC::ClientID&, int targetClientType, float**,
                                unsigned short, unsigned int, float*,
                                const float* targetParameters) {
  if (static_cast<std::uint32_t>(targetClientType) != LIPC::cMixEngineType ||
      targetParameters == nullptr) {
    return;
  }
  const float level = targetParameters[cWatchedLevel];
  if (level < 0.0F) {
    mixEngineState = level;
    return;
  }
  // deliberate: only the low 16 bits count, so 40000.0 is negative and a huge value or NaN is not.
  const auto low = static_cast<std::int16_t>(truncated(targetParameters[cWatchedState]));
  mixEngineState = low < 0 ? cStateSet : cStateClear;
}

int IPCProcessor::process(unsigned int) {
  return 0;
}

void IPCProcessor::onLibraryLoaded() {
  msDefaultClient = new IPCDefaultClient();
}

void IPCProcessor::onLibraryUnloaded() {
  delete msDefaultClient;
  msDefaultClient = nullptr;
}

}  // namespace Vexo::Settings
