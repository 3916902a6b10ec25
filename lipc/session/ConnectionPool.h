#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>

#include <boost/container/list.hpp>
#include <boost/interprocess/allocators/allocator.hpp>
#include <boost/interprocess/managed_shared_memory.hpp>

#include "lipc/session/Connection.h"

/// The connection pool: a managed segment that the host creates. It holds the session's list
/// "LIPC_SESSION_CONNECTION_LIST", which is the host's, and for each joined client a list under the
/// client's ID, which is the client's: it publishes there, the host merges.
///
/// The lists are read without a lock while another process may change them; `forEachConnection`
/// therefore follows no link out of the mapped pool and takes no more steps than the pool has room
/// for. The pool's own lock (names and memory) is held for microseconds; where a process died in
/// it, every operation that needs it throws boost::interprocess::interprocess_exception after
/// BOOST_INTERPROCESS_TIMEOUT_WHEN_LOCKING_DURATION_MS milliseconds, and the host makes a new pool.
namespace LIPC {

using SharedConnectionAllocator =
    boost::interprocess::allocator<Connection,
                                   boost::interprocess::managed_shared_memory::segment_manager>;
using SharedConnectionList = boost::container::list<Connection, SharedConnectionAllocator>;

/// A node of the list as Boost lays it out.
struct SharedConnectionNode {
  boost::interprocess::offset_ptr<void> links[2];
  Connection record;
};
static_assert(sizeof(SharedConnectionNode) == 480);
static_assert(offsetof(SharedConnectionNode, record) == 16);
static_assert(alignof(SharedConnectionNode) == 8);

/// Calls visit(const Connection&) for the records of a shared list in order. Threads: any, also
/// while another process changes the list.
template <class Visit>
void forEachConnection(const boost::interprocess::managed_shared_memory& pool,
                       const SharedConnectionList& list, Visit visit) {
  const auto base = reinterpret_cast<std::uintptr_t>(pool.get_address());
  const std::size_t mostRecords = pool.get_size() / sizeof(Connection);
  const auto end = list.end();
  std::size_t steps = 0;
  for (auto it = list.begin(); it != end && steps < mostRecords; ++it, ++steps) {
    // The node's address, looked at before anything in it is touched.
    const auto at = reinterpret_cast<std::uintptr_t>(it.get().pointed_node().get());
    const bool inside = at >= base && at - base <= pool.get_size() - sizeof(SharedConnectionNode);
    if (!inside || at % alignof(SharedConnectionNode) != 0) return;
    visit(*it);
  }
}

/// A client's own list in the pool, for the time of a join: taken out again at the end of scope
/// unless the join succeeded and `keep` was called.
///
/// Threads: one.
class PublishedConnections {
 public:
  /// Constructs the client's list. Throws boost::interprocess::interprocess_exception when the pool
  /// is missing or a list of that name is still there.
  explicit PublishedConnections(const ClientID& id);
  ~PublishedConnections();
  PublishedConnections(const PublishedConnections&) = delete;
  PublishedConnections& operator=(const PublishedConnections&) = delete;

  /// Fills the list and lets go of the pool: once. Throws boost::interprocess::bad_alloc when the
  /// pool is full.
  void publish(const std::list<Connection>& connections);
  void keep() { mKept = true; }

  /// Takes the list of `id` out of the pool, if both are there. Errors are logged, not thrown.
  static void withdraw(const ClientID& id);

 private:
  const ClientID mID;
  boost::interprocess::managed_shared_memory mPool;
  SharedConnectionList* mList;
  bool mKept = false;
};

}  // namespace LIPC
