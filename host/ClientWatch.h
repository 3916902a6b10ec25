#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include "host/WatchedTime.h"
#include "lipc/session/ClientID.h"

namespace host {

/// Judges which clients are lost. A client is lost when its keep-alive stamp is 4 seconds old by
/// the wall clock, or is not a time, and this watch has itself watched it unchanged for as long: a
/// machine that slept, a host that was stopped or a clock that was set takes nobody for dead. A row
/// whose client has no buffer is lost after two seconds.
///
/// Pure: the caller reads the stamps and the clocks. Threads: one.
class ClientWatch {
 public:
  using SteadyTime = WatchedTime::SteadyTime;

  static constexpr std::chrono::milliseconds cStaleAfter{4000};
  static constexpr std::chrono::milliseconds cWithoutBufferAfter{2000};

  /// `stamp`: the client's stamp text, or nothing when it has no buffer.
  bool isLost(const LIPC::ClientID& id, const std::optional<std::string>& stamp,
              const boost::posix_time::ptime& utc, SteadyTime now);
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

}  // namespace host
