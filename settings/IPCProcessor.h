// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>

#include "lipc/AudioProcessor.h"
#include "lipc/session/ClientID.h"

namespace Vexo::Settings {

class IPCDefaultClient;

/// The settings processor. It produces no audio: it derives one value from two parameters of the
/// mix engine as they pass by in updateOutput, and hands it to the host in slot 39 of the parameter
/// block of the next updateParameters.
///
/// Threads: the host's processing thread. Nothing is locked, and no operation reports an error.
class IPCProcessor final : public LIPC::AudioProcessor {
 public:
  /// Rate in samples per second before block size in frames, in this order.
  IPCProcessor(const char* name, float rate, unsigned int frames);

  int getOutputChannelCount() const override { return 0; }
  /// deliberate: ignored, there is no audio to size; the value of the construction stays.
  void setBlockSize(unsigned int frames) override;
  /// deliberate: ignored as above.
  void setSampleRate(float rate) override;
  void updateParameters(float* parameters, const LIPC::SHMString* strings) override;
  void updateInput(const LIPC::ClientID& source, const LIPC::ClientEntry* sourceEntry,
                   float** channels, unsigned short channelCount, unsigned int frameCount,
                   const float* sourceParameters, const float* sourceTargetParameters,
                   bool flag) override;
  void updateOutput(const LIPC::ClientID& target, int targetClientType, float** channels,
                    unsigned short channelCount, unsigned int frameCount, float* parameters,
                    const float* targetParameters) override;
  int process(unsigned int frameCount) override;

  void initChannelMap() {}

  /// Creates the process's settings client and stores it in msDefaultClient.
  /// deliberate: a second call without onLibraryUnloaded between overwrites the pointer; the first
  /// client is not destroyed.
  static void onLibraryLoaded();
  /// Destroys the settings client, if there is one, and clears the pointer.
  static void onLibraryUnloaded();

  static IPCDefaultClient* msDefaultClient;

  LIPC::ClientID clientID;
  std::uint32_t blockSize;         // frames per block, as given at construction
  std::uint32_t reservedWord = 0;  // nobody reads or writes it
  float sampleRate;                // samples per second, as given at construction
  float mixEngineState = 0.0F;     // derived in updateOutput
};

}  // namespace Vexo::Settings
