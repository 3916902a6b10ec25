// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>

#include "host/Timeline.h"
#include "lipc/realtime/MappedRing.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/ShmManaged.h"

namespace host {

/// What became of a client's blocks.
struct AudioCounters {
  std::uint64_t blocksIn = 0;  // announced by the client and read
  std::uint64_t answered = 0;  // of these: answered before the client looked
  std::uint64_t late = 0;      // of these: when the client had sent the block that looks for it
  std::uint64_t dropped = 0;  // announced but gone, no block, or too late to be heard by a listener
  std::uint64_t overruns = 0;  // sent but not announced, since the client's queue was full
};

/// One client's audio as the host sees it: the queue of announced blocks, the "-send" ring, the
/// "-return" ring. Everything in them is another process's word: bounds are those of the mapping,
/// and a block whose stamp changes while it is read is dropped.
///
/// Threads: one at a time.
class ClientStream {
 public:
  /// A block that waits for its answer.
  struct Block {
    long long timeStamp = 0;
    unsigned samples = 0;
    std::array<float, LIPC::SHMSliceBuffer::cParameterCount> parameters{};
  };
  /// Fills one output channel of the block, which is silent so far.
  using Fill = std::function<void(unsigned channel, float* samples)>;

  explicit ClientStream(const LIPC::ClientID& id);

  /// False when the client's segments could not be had.
  bool isAttached() const { return mSend.isMapped() && mReturns.isMapped(); }
  const LIPC::ClientID& id() const { return mID; }
  const AudioCounters& counters() const { return mCounters; }
  /// Of the blocks that the client announced. 0 before the first.
  long long newestStamp() const { return mLastStamp; }
  Timeline& sent() { return mSent; }
  const Timeline& sent() const { return mSent; }
  unsigned inputChannelCount() const { return mSend.channelCount(); }
  unsigned outputChannelCount() const { return mReturns.channelCount(); }

  /// Reads what the client has announced; `wasMissed` says of a stamp whether a listener was
  /// answered without it.
  void readNew(const std::function<bool(long long)>& wasMissed);
  bool hasBlock() const { return !mWaiting.empty(); }
  const Block& oldest() const { return mWaiting.front(); }
  /// True when the oldest block can wait for others no longer: the client sent three more, or
  /// announced them.
  bool isOldestDue() const;
  /// Answers the oldest block, with the parameters that came with it, and sets `ready` last.
  void answerOldest(const Fill& fill);
  /// The end of the latest block that was answered: what comes for an earlier time comes too late.
  long long answeredUpTo() const { return mAnsweredUpTo; }

 private:
  bool read(long long stamp);
  bool copyBlock(LIPC::SHMSliceBuffer& slice, Block& block);
  void countOverruns(long long stamp);
  bool fillSlot(const Block& block, const Fill& fill);
  long long age(const Block& block) const;

  LIPC::ClientID mID;
  LIPC::ShmManagedOpen<LIPC::ClientBuffer> mBuffer;
  LIPC::ShmManagedOpen<LIPC::SHMSlices> mSendSegment;
  LIPC::ShmManagedOpen<LIPC::SHMSlices> mReturnSegment;
  LIPC::MappedRing mSend;
  LIPC::MappedRing mReturns;
  Timeline mSent;
  std::deque<Block> mWaiting;
  AudioCounters mCounters;
  long long mAnsweredUpTo;
  long long mLastStamp = 0;  // of the queue
  long long mLastStep = 0;
  unsigned mUntilGap = 0;  // values that were in the queue when it was seen full
};

}  // namespace host
