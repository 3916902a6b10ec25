#pragma once

#include <cstddef>

/// The interface through which a session host drives the processors of a loaded library.
///
/// The host finds five functions in a processor library by their unmangled names:
///   getLIPCVersion, getClientType, loadLibrary, createProcessor, unloadLibrary,
/// and calls what `createProcessor` returns through this class's table of virtual operations. The
/// order of the operations is a contract with every host: nothing is added between them or moved.
///
/// Threads: the host calls a processor from one thread at a time, its processing thread. The host
/// owns the processor and destroys it through the virtual destructor.
namespace LIPC {

template <class T, std::size_t Length, std::size_t Count>
struct SHMArray;
using SHMString = SHMArray<char, 128, 2>;
struct ClientID;
struct ClientEntry;

class AudioProcessor {
 public:
  /// Slot 1.
  virtual ~AudioProcessor() = default;

  /// Slot 2. Channels that the processor puts out.
  virtual int getOutputChannelCount() const = 0;

  /// Slot 3. Frames of each block to come.
  virtual void setBlockSize(unsigned int frames) = 0;

  /// Slot 4. Samples per second.
  virtual void setSampleRate(float rate) = 0;

  /// Slot 5. Samples by which the output is late.
  virtual int getLatency() const { return 0; }

  /// Slot 6. `parameters`: the processor's own parameter block, read and written; may be null.
  virtual void updateParameters(float* parameters, const SHMString* strings) = 0;

  /// Slot 7. Once per source client and block.
  virtual void updateInput(const ClientID& source, const ClientEntry* sourceEntry, float** channels,
                           unsigned short channelCount, unsigned int frameCount,
                           const float* sourceParameters, const float* sourceTargetParameters,
                           bool flag) = 0;

  /// Slot 8. Once per target client and block. `targetParameters`: the target's parameters, may be
  /// null.
  virtual void updateOutput(const ClientID& target, int targetClientType, float** channels,
                            unsigned short channelCount, unsigned int frameCount, float* parameters,
                            const float* targetParameters) = 0;

  /// Slot 9. Before the block. The reference host counts its time stamps in samples.
  virtual void preProcess(const long long& timestamp) { static_cast<void>(timestamp); }

  /// Slot 10.
  virtual void setPlayheadStartTimestamp(const long long& timestamp) {
    static_cast<void>(timestamp);
  }

  /// Slot 11. The block itself. What it returns is between a processor and its host; 0 of one
  /// without audio.
  virtual int process(unsigned int frameCount) = 0;

  /// Slot 12.
  virtual void postProcess(const long long& timestamp) { static_cast<void>(timestamp); }
};

}  // namespace LIPC
