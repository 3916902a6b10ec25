// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>

namespace LIPC {

template <class T, std::size_t Length, std::size_t Count>
struct SHMArray;
/// A string slot of a client's row, at most 128 characters.
using SHMString = SHMArray<char, 128, 2>;
struct ClientID;
struct ClientEntry;

/// The interface through which a session host drives the processors of a loaded library.
///
/// The host finds five functions in a processor library by their unmangled names and calls them in
/// this order:
///
///     int getLIPCVersion()                         cProtocolVersion, 5
///     int getClientType()                          four-character code of the library's client
///     void loadLibrary()                           once, before the first processor
///     AudioProcessor* createProcessor(const char*) with a name; the caller owns what it returns
///     void unloadLibrary()                         once, after the last processor's end
///
/// It calls what `createProcessor` returns through this class's table of virtual operations. The
/// order of the operations is a contract with every host: nothing is added between them or moved.
///
/// What the parameters that a host passes mean, and which of them may be null, is the host's
/// business. The reference host (lipc host) has no audio for processors: it passes null channels
/// and 0 of them, and null strings; before the first block it calls slots 4 and 3, then for each
/// block 9, for every client 7 and 8, then 11, 6 and 12. Slots 2, 5 and 10 it never calls. What a
/// processor throws ends its calls there.
///
/// Threads: the host calls a processor from one thread at a time, its processing thread. The host
/// owns the processor and destroys it through the virtual destructor.
///
/// @ingroup processor
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

  /// Slot 6. `parameters`: the processor's own parameter block, read and written; may be null. From
  /// the reference host it has 172 floats, of which the first 128 begin as the offline parameters
  /// of the library's client; what the processor changed in those goes into that client's row.
  virtual void updateParameters(float* parameters, const SHMString* strings) = 0;

  /// Slot 7. Once per source client and block. From the reference host `sourceEntry` is a copy of
  /// the source's row, good for the call, `sourceParameters` are the row's offline parameters,
  /// `sourceTargetParameters` is null and `flag` false.
  virtual void updateInput(const ClientID& source, const ClientEntry* sourceEntry, float** channels,
                           unsigned short channelCount, unsigned int frameCount,
                           const float* sourceParameters, const float* sourceTargetParameters,
                           bool flag) = 0;

  /// Slot 8. Once per target client and block. `parameters`: the block of slot 6.
  /// `targetParameters`: the target's parameters, may be null.
  virtual void updateOutput(const ClientID& target, int targetClientType, float** channels,
                            unsigned short channelCount, unsigned int frameCount, float* parameters,
                            const float* targetParameters) = 0;

  /// Slot 9. Before the block. The reference host counts its time stamps in samples, from 0 on.
  virtual void preProcess(const long long& timestamp) { static_cast<void>(timestamp); }

  /// Slot 10. What the stamp counts is the host's business; the reference host does not call it.
  virtual void setPlayheadStartTimestamp(const long long& timestamp) {
    static_cast<void>(timestamp);
  }

  /// Slot 11. The block itself. What it returns is between a processor and its host; 0 of one
  /// without audio.
  virtual int process(unsigned int frameCount) = 0;

  /// Slot 12. After the block, with the stamp of slot 9.
  virtual void postProcess(const long long& timestamp) { static_cast<void>(timestamp); }
};

}  // namespace LIPC
