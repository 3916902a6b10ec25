// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>

#include <semaphore.h>

#include "bench/Caller.h"
#include "lipc/util/SharedWord.h"

namespace bench {

/// A named semaphore of the system without anything around it; unlinked by who made it.
class BareSemaphore {
 public:
  BareSemaphore(const std::string& name, bool isMaker);
  ~BareSemaphore();
  BareSemaphore(const BareSemaphore&) = delete;
  BareSemaphore& operator=(const BareSemaphore&) = delete;

  bool tryWait() { return sem_trywait(mSemaphore) == 0; }
  void post() { sem_post(mSemaphore); }
  void wait() {
    while (sem_wait(mSemaphore) != 0) {
    }
  }
  void clear() {
    while (tryWait()) {
    }
  }

 private:
  std::string mName;
  bool mIsMaker;
  sem_t* mSemaphore;
};

/// The same work as a call of processLIPC, written by hand for one purpose: the copies and the
/// semaphores and nothing else. No stamps, no lookup, no identity, no configuration, no queue, no
/// check.
///
/// It works on the memory of the client with which it is compared, so that the luck of the pages'
/// addresses is the same for both; its semaphores are its own. The client's heads of the rings
/// stay as they are, but for the slots' `ready` and stamps: here a stamp is the number of the
/// block, and the slice of block b is b % 6. Its peer (Peer.h) counts as it does.
class HandWritten {
 public:
  static constexpr char cName[] = "BenchByHand";
  /// The client's stamps begin here, far beyond these.
  static constexpr std::int64_t cMostBlocks = std::int64_t{1} << 40;

  HandWritten(const Slices& slices, unsigned channels);

  /// Try the access semaphore; copy in; post the notice; copy the answer of four blocks ago out;
  /// post the access semaphore.
  void exchange(Caller& caller);
  /// Plays the host: one byte, as for the other side.
  void answer() { LIPC::storeRelease(mSlices.returned(mBlock).ready, std::uint8_t{1}); }
  /// The peer has answered the newest block.
  bool isAnswered() { return LIPC::loadAcquire(mSlices.returned(mBlock).timeStamp) == mBlock; }
  /// Takes the notices that nobody waited for.
  void drain() { mNotice.clear(); }
  void wakePeer() { mNotice.post(); }
  /// Begins at block 0, for a new peer.
  void restart();
  /// Copy in, post the notice, wait for the pong, copy out: the bare ping-pong. `isLooking`: try
  /// until the pong is there instead of sleeping.
  void roundTrip(Caller& caller, bool isLooking);

 private:
  void copyIn(const Caller& caller);
  void copyOut(Caller& caller, std::int64_t block);

  Slices mSlices;
  unsigned mChannels;
  std::int64_t mBlock = 0;
  BareSemaphore mAccess;
  BareSemaphore mNotice;
  BareSemaphore mPong;
};

}  // namespace bench
