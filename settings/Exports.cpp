// SPDX-License-Identifier: BSL-1.0

// The five functions that a host finds by their unmangled names; the module exports nothing else.
#include "lipc/session/SessionNames.h"
#include "settings/IPCProcessor.h"

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

constexpr float cDefaultSampleRate = 44100.0F;
constexpr unsigned int cDefaultBlockSize = 1024;

}  // namespace

EXPORTED LIPC::AudioProcessor* createProcessor(const char* name) {
  return new Vexo::Settings::IPCProcessor(name, cDefaultSampleRate, cDefaultBlockSize);
}

EXPORTED int getLIPCVersion() {
  return static_cast<int>(LIPC::cProtocolVersion);
}

EXPORTED int getClientType() {
  return static_cast<int>(LIPC::cSettingsType);
}

EXPORTED void loadLibrary() {
  Vexo::Settings::IPCProcessor::onLibraryLoaded();
}

EXPORTED void unloadLibrary() {
  Vexo::Settings::IPCProcessor::onLibraryUnloaded();
}
