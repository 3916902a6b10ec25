// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>

#include "lipc/realtime/MappedRing.h"
#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/realtime/ValueQueue.h"
#include "lipc/util/RealTime.h"

namespace LIPC {

/// One block, as the caller of Client::processLIPC hands it over.
struct AudioBlock {
  static constexpr int cMostSamples = SHMChannel::cSampleCount;
  static constexpr int cMostParameters = SHMSliceBuffer::cParameterCount;

  /// False when a count is negative or larger than a slice holds: such a block is refused whole.
  bool isAcceptable() const noexcept LIPC_NONBLOCKING;

  float* const* channels = nullptr;  // input, then output, in place; null entries are left out
  int numSamples = 0;                // per channel, 0 to 1024
  int numChannels = 0;               // of input in `channels`
  long long timeStamp = 0;           // samples
  const float* parameters = nullptr;
  int numParameters = 0;  // 0 to 172
  float* returnParameters = nullptr;
  int numReturnParameters = 0;  // 0 to 172
};

/// Who sends, and how many channels of what.
struct ExchangeSetup {
  std::uint32_t clientType = 0;
  const char* clientID = nullptr;  // 64 characters, padded with NUL
  unsigned inputChannelCount = 0;
  unsigned outputChannelCount = 0;
  const std::int32_t* outputRouting = nullptr;  // per output a channel of the return ring, or -1
  std::size_t routingCount = 0;                 // outputs beyond it are silent
};

/// The exchange of audio blocks between a client and the host, once per block on the client's audio
/// thread:
///
///   send             the block goes into the "-send" ring
///   stampReturnSlot  a slot of the "-return" ring is stamped for the host's answer
///   announce         the stamp goes into the queue, the host is woken
///   receive          the host's answer to the block of four blocks ago comes back
///
/// Lives on rings, a queue and a semaphore that it is given, and knows no client. Every copy stays
/// within what this process mapped, whatever another process wrote into the rings.
///
/// Threads: `attach` and `detach` by whoever owns the rings, while nothing else runs; the rest on
/// one audio thread. No operation of that thread allocates, locks or waits. Errors: none; what is
/// missing is silence.
class BlockExchange {
 public:
  /// The answer comes back this many blocks late: the time that the host has.
  static constexpr int cLatencyBlocks = 4;
  /// Looks at a late answer, with a yield after each, before it is silence.
  static constexpr int cPolls = 10;

  /// `queue` and `newData` must outlive the attachment.
  void attach(const MappedRing& send, const MappedRing& returns, ValueQueue& queue,
              SemaphoreHandle& newData);
  void detach();
  bool isAttached() const noexcept LIPC_NONBLOCKING { return mQueue != nullptr; }

  // Of a block that is acceptable (AudioBlock::isAcceptable): whoever calls has asked.

  /// Copies the input and the parameters into the slice of the block's stamp, an existing one where
  /// the stamp was sent before. `ready` is set before the copies, deliberately: the host is told of
  /// the block by `announce` alone. Channels of the slice that the block does not bring keep what
  /// they held. A null input channel, or null parameters, are sent as zeros.
  void send(const AudioBlock& block, const ExchangeSetup& setup) noexcept LIPC_NONBLOCKING;
  /// Takes a fresh slot always, also for a stamp that has one already.
  void stampReturnSlot(const AudioBlock& block,
                       const ExchangeSetup& setup) noexcept LIPC_NONBLOCKING;
  /// A full queue loses the notice of this block only, and prints a line; see ValueQueue::put.
  void announce(long long timeStamp) noexcept LIPC_NONBLOCKING;
  /// Fills the output channels and the return parameters. `mayPoll`: look up to ten times for an
  /// answer that is not there yet, with a yield after each.
  ///
  /// deliberate: a slot that is not ready still yields its parameters; without a slot they are
  /// zero.
  void receive(const AudioBlock& block, const ExchangeSetup& setup,
               bool mayPoll) noexcept LIPC_NONBLOCKING;

  /// The "-send" slice for `timeStamp`, found or newly taken, with its sample count and `ready`
  /// set; null while not attached. Does not write who sends.
  SHMSliceBuffer* prepareSend(long long timeStamp, unsigned numSamples) noexcept LIPC_NONBLOCKING;
  /// The next "-return" slice, stamped and not ready; null while not attached.
  SHMSliceBuffer* prepareReturn(long long timeStamp, unsigned numSamples) noexcept LIPC_NONBLOCKING;
  /// The parameters of the "-send" slice of `timeStamp`, or null.
  float* sentParameters(long long timeStamp) const noexcept LIPC_NONBLOCKING;
  /// Zeroes the "-return" ring's parameters and samples.
  void clearReturns() noexcept LIPC_NONBLOCKING { mReturns.clear(); }

  /// Zeroes the first `outputChannelCount` channels and the return parameters, as far as the
  /// block's own sizes say.
  static void silence(const AudioBlock& block,
                      unsigned outputChannelCount) noexcept LIPC_NONBLOCKING;

 private:
  MappedRing mSend;
  MappedRing mReturns;
  ValueQueue* mQueue = nullptr;
  SemaphoreHandle* mNewData = nullptr;
};

}  // namespace LIPC
