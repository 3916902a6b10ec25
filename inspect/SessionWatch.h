// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "inspect/Facts.h"

namespace inspect {

class Source;

/// What became of a client while it was watched.
struct WatchedClient {
  std::string id;
  bool hasBuffer = false;
  bool isLost = false;           // as ClientWatch.h judges; never after less than 2 seconds
  std::int64_t unchangedMS = 0;  // since its stamp changed last, or since the watch began
  std::int32_t changes = 0;      // of its stamp
  ProcessFacts maker = {};       // of its buffer; only of who has gone

  template <class Archive>
  void fields(Archive& archive) {
    archive(id, hasBuffer, isLost, unchangedMS, changes, maker);
  }
};

/// A session that was watched over some time.
struct Watched {
  std::int64_t milliseconds = 0;    // for how long
  bool isTableThere = false;        // at the end
  std::uint64_t heartbeat = 0;      // at the end
  std::int32_t beats = 0;           // by how much the heartbeat advanced
  std::int32_t heartbeatsBack = 0;  // times that it went back: another host, or a fault
  /// Of the registration lock at the end; nothing where the system does not tell.
  std::optional<std::int32_t> lockCount;
  bool isLockStuck = false;            // held without a request for longer than a join takes
  std::vector<WatchedClient> clients;  // with a row at the end
  std::vector<WatchedClient> gone;     // whose row went meanwhile

  bool isBeating() const { return beats > 0; }
  const WatchedClient* find(const std::string& id) const;

  template <class Archive>
  void fields(Archive& archive) {
    archive(milliseconds, isTableThere, heartbeat, beats, heartbeatsBack, lockCount, isLockStuck,
            clients, gone);
  }
};

/// The time after which everything can be judged: who is lost, and whether the lock is stuck.
inline constexpr std::chrono::milliseconds cFullWatch{5300};

/// Watches the session of a living source. See Source::watch.
Watched watchSession(Source& source, std::chrono::milliseconds duration,
                     const std::function<bool(double)>& progress);

}  // namespace inspect
