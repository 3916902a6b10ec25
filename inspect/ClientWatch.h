// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "inspect/WatchedTime.h"
#include "lipc/session/ClientID.h"

namespace inspect {

/// Judges which clients are lost. A client is lost when this watch has watched its keep-alive stamp
/// unchanged for 4 seconds of the steady clock. What the stamp says, and what the wall clock says,
/// does not count: a dead client is found however far ahead its stamp lies after the clock was set
/// back, and a machine that slept, a host that was stopped or a clock that was set forward takes
/// nobody for dead. A row whose client has no buffer is lost after two seconds.
///
/// Pure: the caller reads the stamps and the clock. Threads: one.
class ClientWatch {
 public:
  using SteadyTime = WatchedTime::SteadyTime;

  static constexpr std::chrono::milliseconds cStaleAfter{4000};
  static constexpr std::chrono::milliseconds cWithoutBufferAfter{2000};

  /// `stamp`: the client's stamp text, or nothing when it has no buffer.
  bool isLost(const LIPC::ClientID& id, const std::optional<std::string>& stamp, SteadyTime now);
  /// Forgets the clients that are not in `present`.
  void keepOnly(const std::set<LIPC::ClientID>& present);
  void forget(const LIPC::ClientID& id) { mSeen.erase(id); }

 private:
  struct Seen {
    std::optional<std::string> stamp;
    WatchedTime unchanged;
  };

  std::map<LIPC::ClientID, Seen> mSeen;
};

}  // namespace inspect
