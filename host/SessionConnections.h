// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "lipc/session/ConnectionPool.h"
#include "lipc/session/SessionBuffer.h"

namespace host {

/// The connection pool, made by the host and removed with this object, and the session's list in
/// it.
///
/// Clients publish their connections in lists of their own; `merge` takes a client's list over into
/// the session's, in place of what this client had published before, `takeOut` takes the client's
/// connections out again. A connection stays for as long as one of the clients that published it is
/// in the session: its target may leave and come back without its source noticing.
///
/// A process that died in the pool's lock, or a damaged pool, does not stop the host: the pool is
/// made anew under the same name with the session's list as it was last known. The host finds its
/// own list where it made it, not through the pool's names.
///
/// Threads: the host's lock guards every call.
class SessionConnections {
 public:
  static constexpr std::size_t cPoolBytes = std::size_t{4} * 1024 * 1024;

  SessionConnections();
  ~SessionConnections();
  SessionConnections(const SessionConnections&) = delete;
  SessionConnections& operator=(const SessionConnections&) = delete;

  /// Returns a note when something had to be left out or mended, else an empty text.
  std::string merge(const LIPC::ClientID& id);
  std::string takeOut(const LIPC::ClientID& id);
  /// Also takes the client's own list out of the pool: its owner is dead.
  std::string reap(const LIPC::ClientID& id);
  /// IDs of the lists in the pool that no row of `session` carries: their owners died in a join or
  /// a leave. Only meaningful with the registration lock held. `note`: as for merge.
  std::vector<LIPC::ClientID> findOrphans(const LIPC::SessionBuffer& session, std::string& note);
  /// True once after the pool was made anew: what clients had published and the host had not yet
  /// merged is gone.
  bool takeRenewed() { return std::exchange(mRenewed, false); }

  /// The session's list as it stands in the pool, where any process may have changed it.
  std::vector<LIPC::Connection> current() const;

 private:
  using Ends = std::pair<LIPC::ClientID, LIPC::ClientID>;

  void create();
  template <class Operation>
  std::string mended(Operation operation);
  std::string renew(const char* reason);
  std::vector<Ends> forget(const LIPC::ClientID& id);
  void requireOwnList(LIPC::PoolManager& manager) const;
  void list(const LIPC::Connection& connection);
  void put(const LIPC::Connection& connection);
  void erase(const std::vector<Ends>& gone);

  std::unique_ptr<LIPC::ConnectionPool> mPool;
  LIPC::SharedConnectionList* mList = nullptr;
  std::vector<Ends> mListed;  // what the host put there, in order
  bool mRenewed = false;
  std::vector<LIPC::Connection> mMirror;                   // what mList is to hold
  std::map<LIPC::ClientID, std::vector<Ends>> mPublished;  // by the client that published it
};

}  // namespace host
