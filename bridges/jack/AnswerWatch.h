// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "lipc/realtime/MappedRing.h"
#include "lipc/session/ShmManaged.h"
#include "lipc/util/RealTime.h"

namespace jack_bridge {

/// Counts the answers that a client of this process did not get, by a look of its own into its
/// "-return" ring: processLIPC gives silence in their place and does not say so. Where the host
/// reads no blocks it would print a line for each, which is nothing for an audio thread: so ask
/// `hasRoom` before.
///
/// Threads: `attach` and `detach` by the client's callbacks, `hasRoom` and `look` by the thread
/// that trades blocks, the counters by any.
class AnswerWatch {
 public:
  AnswerWatch();
  ~AnswerWatch();

  /// The client has joined under this ID.
  void attach(const std::string& id);
  /// It is about to leave. Waits for a look that is under way.
  void detach();

  /// Whether the host can be told of another block. A block that it cannot counts as late.
  bool hasRoom() noexcept LIPC_NONBLOCKING;
  /// Behind the call that traded the block of that stamp and size. The first four blocks of a join
  /// have no answer yet and are not looked for.
  void look(long long stamp, unsigned frames) noexcept LIPC_NONBLOCKING;

  /// The host had not answered yet, or does not read blocks.
  std::uint64_t late() const { return mLate; }
  /// No slot had the stamp: the stamps jumped.
  std::uint64_t missing() const { return mMissing; }

 private:
  struct Ring;

  std::unique_ptr<Ring> mRing;
  std::atomic<Ring*> mOpen{nullptr};
  std::atomic<bool> mIsLooking{false};
  std::atomic<std::uint64_t> mLate{0};
  std::atomic<std::uint64_t> mMissing{0};
};

}  // namespace jack_bridge
