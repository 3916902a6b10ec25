// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <memory>
#include <string>

#include "bench/Caller.h"
#include "bench/HandWritten.h"
#include "host/SessionHost.h"
#include "lipc/client/Client.h"
#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/session/ShmManaged.h"

namespace bench {

/// A real client in a reference host's session, as an application would run it, and what a
/// benchmark needs to play its host: the client's queue through a mapping of its own, the session's
/// notice, and the slices of the client's rings.
///
/// The slices are reached through the client's own mapping, from which prepareSendBuffer and
/// prepareReturnBuffer give them out: a second address of the same memory would cost the next read
/// a miss in some processors' first-level caches.
class JoinedClient final : public LIPC::Client {
 public:
  static constexpr char cID[] = "BenchClient";

  /// Joins the session that the process's host keeps. Throws std::runtime_error when that fails.
  JoinedClient(unsigned channels, Caller& warmUp);
  ~JoinedClient() override { stopLIPCSession(); }

  void exchange(Caller& caller);
  /// Plays the host for the newest block: its answer is there already, its slot only says so.
  void answer() { LIPC::storeRelease(mSlices.returned(mBlock).ready, std::uint8_t{1}); }
  bool isAnswered() { return LIPC::loadAcquire(mSlices.returned(mBlock).ready) != 0; }
  /// Plays the host: takes what is announced.
  void drain();

  void wakePeer() { mNewData->post(); }
  const Slices& slices() const { return mSlices; }
  /// The very first block after the join.
  double firstBlockNS() const { return mFirstBlockNS; }
  /// Page faults of the first twelve blocks, on the audio thread.
  long pageFaults() const { return mPageFaults; }

 private:
  void join();
  void findSlices();
  void fillReturns();
  void measureFirstBlocks(Caller& caller);

  unsigned mChannels;
  std::int64_t mBlock = -1;
  long long mTimeStamp = HandWritten::cMostBlocks;
  Slices mSlices;
  std::unique_ptr<LIPC::ShmManagedOpen<LIPC::ClientBuffer>> mBuffer;
  std::unique_ptr<LIPC::ShmManagedOpen<LIPC::SessionBuffer>> mSession;
  std::unique_ptr<LIPC::SemaphoreHandle> mNewData;
  double mFirstBlockNS = 0.0;
  long mPageFaults = 0;
};

/// Both sides of the comparisons for one number of channels.
struct World {
  explicit World(unsigned channelCount)
      : channels(channelCount),
        firstBlocks(channelCount, 256),
        client(channelCount, firstBlocks),
        hand(client.slices(), channelCount) {}

  unsigned channels;
  Caller firstBlocks;
  JoinedClient client;
  HandWritten hand;
};

/// Starts the process's host where none runs yet.
void startHost();
/// The world of that pass and number of channels. A new one is made, with new segments, whenever
/// either differs from the last; the old one leaves the session. Starts the host.
World& worldOf(int pass, unsigned channels);
/// Leaves the session and takes the host down.
void endWorld();

}  // namespace bench
