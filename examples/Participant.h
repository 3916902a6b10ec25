// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "examples/Program.h"
#include "lipc/client/Client.h"

namespace examples {

/// A client that says what becomes of it: for what it waits, under which ID it joined, who is
/// missing at the other end, how many blocks were lost. What a participant of your own needs of
/// LIPC::Client is in tone.cpp, meter.cpp and panner.cpp; this is for the eyes.
///
/// Threads: `hasRoom` on the thread that plays; the callbacks on the client's own.
class Participant : public LIPC::Client {
 public:
  /// `peer`: the ID at the other end of its connection; empty: it has no such.
  Participant(std::uint32_t type, const std::string& name, std::string id, std::string peer)
      : Client(static_cast<int>(type), name.c_str()), mID(std::move(id)), mPeer(std::move(peer)) {}

  /// Whether it ever was in the session. If not, says on standard error why.
  bool hasJoined(const char* program) const {
    if (mJoins > 0) return true;
    std::fprintf(stderr, "%s: never joined a session: %s\n", program, whyNotJoined().c_str());
    return false;
  }

  /// Whether the next block may go out. The host reads blocks in its own time, and 63 may wait for
  /// it. A player in real time loses what is more than that; one that goes as fast as it can
  /// (`speed` 0) waits: until it is in the session, and until the host has read its last blocks.
  bool hasRoom(double speed) {
    const Clock::time_point start = Clock::now();
    bool isTold = false;
    while (speed <= 0 && !sStop && (!mIsIn || unreadBlocks() >= cMostUnread)) {
      std::this_thread::sleep_for(std::chrono::microseconds(100));
      if (isTold || !mIsIn || Clock::now() - start < cPatience) continue;
      say("waiting for the host to read blocks\n");
      isTold = true;
    }
    if (!mIsIn || unreadBlocks() < cQueued) return true;
    ++mLost;
    return false;
  }

  void onLIPCConnectionEstablished() override {
    ++mJoins;
    mIsIn = true;
    mSince = Clock::now();
    mIsWaitTold = mIsPeerMissing = false;
    const std::string id = configGetClientID();
    if (id == mID) {
      say("joined as %s\n", id.c_str());
    } else {
      say("joined as %s, since another client has the ID %s\n", id.c_str(), mID.c_str());
    }
  }
  void onLIPCConnectionToBeRemoved() override {
    mIsIn = false;
    mSince = Clock::now();
    say("leaving\n");
  }
  void onLIPCConnectionTick() override { look(); }
  void onLIPCConnectionTick(const std::deque<LIPC::ClientEntry>*) override { look(); }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::seconds cPatience{1};
  static constexpr unsigned cQueued = LIPC::ValueQueue::cSlotCount - 1;
  static constexpr unsigned cMostUnread = 2;  // of the four that the answer takes

  void look() {
    if (Clock::now() - mSince < cPatience) return;
    if (const unsigned lost = mLost.exchange(0); lost > 0) {
      say("%u blocks lost: the host does not read them\n", lost);
      mSince = Clock::now();
    }
    if (isConnected()) return lookForPeer();
    const std::string reason = whyNotJoined();
    if (mIsWaitTold && reason == mReason) return;
    say("waiting for a host: %s\n", reason.c_str());
    mReason = reason;
    mIsWaitTold = true;
  }

  void lookForPeer() {
    const bool isMissing =
        !mPeer.empty() && getClientIndex(LIPC::ClientID(mPeer)) == LIPC::cMaxClients;
    if (isMissing != mIsPeerMissing)
      say(isMissing ? "nobody has the ID %s\n" : "%s is there now\n", mPeer.c_str());
    mIsPeerMissing = isMissing;
  }

  std::string whyNotJoined() const {
    if (LIPC::ShmManaged::find(LIPC::cNoConnectSegment))
      return "the one that is there forbids joins";
    switch (getVersionStatus()) {
      case LIPC::eVersionNoHost:
        return "there is none. Start one, or ./run: " + lipcCommand() + " host";
      case LIPC::eVersionHostNewer:
        return "the one that is there has a newer protocol version";
      case LIPC::eVersionHostOlder:
        return "the one that is there has an older protocol version";
      case LIPC::eVersionHost32Bit:
        return "the one that is there runs in 32 bits";
      case LIPC::eVersionMatches:
        break;
    }
    return "the one that is there lets nobody in. What is wrong with it: " + lipcCommand() +
           " doctor";
  }

  /// Blocks of this client that the host has not read: the queue is in the client's own segment,
  /// which each join makes anew.
  unsigned unreadBlocks() {
    if (const int joins = mJoins; joins != mQueueOfJoin) {
      mQueue.emplace(configGetClientID().c_str());
      mQueueOfJoin = joins;
    }
    return mQueue && mQueue->get() != nullptr ? (*mQueue)->newDataQueue.size() : 0;
  }

  const std::string mID;
  const std::string mPeer;
  std::atomic<int> mJoins{0};
  std::atomic<bool> mIsIn{false};  // isConnected is so before mJoins counts this time
  std::atomic<unsigned> mLost{0};
  // The thread that plays:
  std::optional<LIPC::ShmReadOnly<LIPC::ClientBuffer>> mQueue;
  int mQueueOfJoin = 0;
  // The client's thread:
  Clock::time_point mSince = Clock::now();  // the last join, leave or word of lost blocks
  bool mIsWaitTold = false;
  bool mIsPeerMissing = false;
  std::string mReason;
};

}  // namespace examples
