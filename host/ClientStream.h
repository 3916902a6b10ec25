// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>
#include <limits>
#include <set>
#include <vector>

#include "host/FixedQueue.h"
#include "host/Timeline.h"
#include "lipc/realtime/BlockExchange.h"
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
/// and what was taken out of a slice counts only when its stamp is the same afterwards.
///
/// Samples stay in their slices for as long as that goes: the newest three blocks, which follow one
/// another, stand in the ring. One that leaves them goes into the timeline where a listener has not
/// heard it yet, and is forgotten where all have.
///
/// Threads: one at a time.
class ClientStream {
 public:
  /// A block that the client announced, and where it stands.
  struct Block {
    long long timeStamp = 0;
    unsigned samples = 0;
    LIPC::SHMSliceBuffer* slice = nullptr;
    long long sliceStamp = 0;  // the block's own, or two beside it
  };
  /// Where an answer goes: no slice, no channels when there is no such slot any more.
  struct Slot {
    LIPC::SHMSliceBuffer* slice = nullptr;
    long long sliceStamp = 0;
    LIPC::SliceSamples samples;
  };

  explicit ClientStream(const LIPC::ClientID& id);

  /// False when the client's segments could not be had.
  bool isAttached() const { return mSend.isMapped() && mReturns.isMapped(); }
  const LIPC::ClientID& id() const { return mID; }
  const AudioCounters& counters() const { return mCounters; }
  /// Of the blocks that the client announced. 0 before the first.
  long long newestStamp() const { return mLastStamp; }
  unsigned inputChannelCount() const { return mSend.channelCount(); }
  unsigned outputChannelCount() const { return mReturns.channelCount(); }

  // What it sends.

  /// From now on these hear these channels. One that is new starts silent.
  void setListeners(std::vector<const ClientStream*> listeners, const std::set<unsigned>& channels);
  /// Reads what the client has announced.
  void readNew();
  /// True when the client has not sent all of [t, t + count), and was at work shortly before it.
  bool isAwaited(long long t, unsigned count) const { return mTimeline.isAwaited(t, count); }
  /// The block [t, t + count) where it stands in its slice. Null when it does not: then all that
  /// there is of the stretch is in the timeline.
  const Block* standing(long long t, unsigned count);
  LIPC::SliceSamples samplesOf(const Block& block) const { return mSend.samplesOf(*block.slice); }
  /// Whether what was taken out of the block's slice until now is the block's.
  static bool isStill(const Block& block);
  /// Nothing stands in the ring any more; what changed there is silence.
  void settle();
  const Timeline& timeline() const { return mTimeline; }

  // What it is answered.

  bool hasBlock() const { return !mWaiting.isEmpty(); }
  const Block& oldest() const { return mWaiting.front(); }
  /// True when the oldest block can wait for others no longer: the client sent three more, or
  /// announced them.
  bool isOldestDue() const;
  /// Where the oldest block's answer goes.
  Slot openSlot() const;
  /// The oldest block's samples are in its slot: sets the parameters that came with it, and `ready`
  /// last.
  void answerOldest(const Slot& slot);
  /// The end of the latest block that was answered: what comes for an earlier time comes too late.
  long long answeredUpTo() const { return mAnsweredUpTo; }

 private:
  static constexpr unsigned cLatencyBlocks = LIPC::BlockExchange::cLatencyBlocks;
  /// A listener in step has been answered by then, and three more are left of the ring's six.
  static constexpr unsigned cMostStanding = cLatencyBlocks - 1;
  /// What a queue holds, beside those that are not due yet.
  static constexpr unsigned cMostWaiting = LIPC::ValueQueue::cSlotCount + cLatencyBlocks;

  bool read(long long stamp);
  bool wasMissed(long long stamp) const;
  void stand(const Block& block);
  void settleOldest();
  void countOverruns(long long stamp);
  bool finishSlot(const Slot& slot);
  long long age(const Block& block) const;

  LIPC::ClientID mID;
  LIPC::ShmManagedOpen<LIPC::ClientBuffer> mBuffer;
  LIPC::ShmManagedOpen<LIPC::SHMSlices> mSendSegment;
  LIPC::ShmManagedOpen<LIPC::SHMSlices> mReturnSegment;
  LIPC::MappedRing mSend;
  LIPC::MappedRing mReturns;
  std::vector<const ClientStream*> mListeners;
  FixedQueue<Block, cMostStanding> mStanding;
  Timeline mTimeline;
  FixedQueue<Block, cMostWaiting> mWaiting;
  AudioCounters mCounters;
  long long mAnsweredUpTo = std::numeric_limits<long long>::min();
  long long mLastStamp = 0;  // of the queue
  long long mLastStep = 0;
  unsigned mUntilGap = 0;  // values that were in the queue when it was seen full
};

}  // namespace host
