// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <boost/container/list.hpp>
#include <boost/interprocess/allocators/allocator.hpp>
#include <boost/interprocess/managed_shared_memory.hpp>
#include <boost/interprocess/mapped_region.hpp>

#include "lipc/session/Connection.h"

/// The connection pool "LIPC_SESSION_CONNECTION_POOL": a managed segment of Boost's that the host
/// creates. It holds the session's list "LIPC_SESSION_CONNECTION_LIST", which is the host's, and
/// for each joined client a list under the client's ID, which is the client's: it publishes there,
/// the host merges.
///
/// Anybody may die in the pool or write over it. Therefore:
///
/// - It is opened here and nowhere else. Boost's own way waits without a limit for an object whose
///   maker died; this one throws.
/// - Bounds are those of the mapped object, never the pool's own word.
/// - Boost has two locks in a pool: one for the names, one for the memory. Every change of a list
///   holds the first from beginning to end, so that whoever dies in the second holds both, and the
///   next one's failure to get the first is an exception, in no destructor.
/// - Before anything follows a link of the pool, `PoolCheck` has looked through it. A difference is
///   a damaged pool: an exception, and the host makes a new one.
///
/// The lists are read without a lock while another process may change them; `forEachConnection`
/// follows no link out of the mapped pool and takes no more steps than the pool has room for.
///
/// Errors: boost::interprocess::interprocess_exception, whose code is not_found_error without a
/// pool, corrupted_error for one that is damaged or not ready, timeout_when_locking_error where a
/// process died in a lock (after a second; the host then makes a new pool), already_exists_error;
/// boost::interprocess::bad_alloc when the pool is full.
namespace LIPC {

using PoolManager = boost::interprocess::managed_shared_memory::segment_manager;

/// Boost's allocator for the pool, but for the way in which memory goes back: where its lock is not
/// to be had the memory stays taken. Boost's throws there, out of a list's destructor.
template <class T>
class PoolAllocator : public boost::interprocess::allocator<T, PoolManager> {
  using Base = boost::interprocess::allocator<T, PoolManager>;

 public:
  using version = boost::interprocess::version_type<PoolAllocator, 1>;
  template <class U>
  struct rebind {
    using other = PoolAllocator<U>;
  };

  PoolAllocator(PoolManager* manager) : Base(manager) {}
  template <class U>
  PoolAllocator(const PoolAllocator<U>& other) : Base(other.get_segment_manager()) {}

  void deallocate(const typename Base::pointer& memory, typename Base::size_type count) noexcept {
    try {
      Base::deallocate(memory, count);
    } catch (const boost::interprocess::interprocess_exception&) {
    }
  }
};

using SharedConnectionList = boost::container::list<Connection, PoolAllocator<Connection>>;
static_assert(sizeof(SharedConnectionList) ==
              sizeof(boost::container::list<
                     Connection, boost::interprocess::allocator<Connection, PoolManager>>));

/// A node of the list as Boost lays it out.
struct SharedConnectionNode {
  boost::interprocess::offset_ptr<void> links[2];
  Connection record;
};
static_assert(sizeof(SharedConnectionNode) == 480);
static_assert(offsetof(SharedConnectionNode, record) == 16);
static_assert(alignof(SharedConnectionNode) == 8);

/// The pool as this process has mapped it, until the object's end.
///
/// Threads: one at a time each; `forEachConnection` also while others change a list.
class ConnectionPool {
 public:
  /// How long a change waits for the pool's lock, on the steady clock.
  static constexpr std::chrono::milliseconds cLockTimeout{1000};

  static ConnectionPool open();
  /// Makes the pool, for everybody to read and write, with all of its pages allocated: a system
  /// that is out of shared memory says so here, and not by a signal later. `bytes` as the host
  /// decides. Throws std::system_error when there is no room.
  static ConnectionPool create(std::size_t bytes);
  /// False when there is none, or when it may not be removed.
  static bool remove();
  /// 0 when there is one that this process may read, in whatever state; else an errno, ENOENT when
  /// there is none. Leaves no trace.
  static int errorOfOpening();
  /// A private copy of the pool: for readers, who take no lock and change nothing. Where somebody
  /// makes the pool's file shorter meanwhile, the process ends with SIGBUS.
  static std::string readBytes();
  /// A sum over those bytes, without the lock: another one, and they have changed. Throws as
  /// readBytes.
  static std::uint64_t sumBytes();
  /// The records of the session's list in such a copy; none where there is no list. A copy made
  /// while somebody changed the pool may be a damaged one.
  static std::vector<Connection> readSessionList(std::string_view poolBytes);

  /// The list of that name, or null. Holds the pool's lock meanwhile.
  SharedConnectionList* find(const char* name) const;
  /// Calls change(PoolManager&) with the pool's lock held, after a look through all of the pool.
  template <class Change>
  void change(Change change) {
    locked([&] {
      requireWhole(nullptr);
      tryMemory();
      change(manager());
    });
  }
  /// Throws unless the list can be walked and changed. Within `change`.
  void requireWhole(const SharedConnectionList& list) const;
  /// Takes the list of that name away, if there is one. Within `change`.
  void destroy(const char* name);

  const char* address() const { return mBase; }
  /// Bytes of the mapping, as the system has it.
  std::size_t bytes() const { return mBytes; }

 private:
  explicit ConnectionPool(boost::interprocess::mapped_region region);

  PoolManager& manager() const;
  template <class Operation>
  void locked(Operation operation) const;
  void lockAndCall(void (*call)(void*), void* operation) const;
  void requireWhole(const SharedConnectionList* list) const;
  void tryMemory() const;

  boost::interprocess::mapped_region mRegion;
  char* mBase;
  std::size_t mBytes;
};

template <class Operation>
void ConnectionPool::locked(Operation operation) const {
  lockAndCall([](void* context) { (*static_cast<Operation*>(context))(); }, &operation);
}

/// Calls visit(const Connection&) for the records of a shared list in order. `base`, `bytes`: of
/// the memory in which the list lies. Threads: any, also while another process changes the list.
template <class Visit>
void forEachConnection(const char* base, std::size_t bytes, const SharedConnectionList& list,
                       Visit visit) {
  const auto first = reinterpret_cast<std::uintptr_t>(base);
  const std::size_t mostRecords = bytes / sizeof(SharedConnectionNode);
  const auto end = list.end();
  std::size_t steps = 0;
  for (auto it = list.begin(); it != end && steps < mostRecords; ++it, ++steps) {
    // The node's address, looked at before anything in it is touched.
    const auto at = reinterpret_cast<std::uintptr_t>(it.get().pointed_node().get());
    const bool inside = at >= first && at - first <= bytes - sizeof(SharedConnectionNode);
    if (!inside || at % alignof(SharedConnectionNode) != 0) return;
    visit(*it);
  }
}

template <class Visit>
void forEachConnection(const ConnectionPool& pool, const SharedConnectionList& list, Visit visit) {
  forEachConnection(pool.address(), pool.bytes(), list, visit);
}

/// A client's own list in the pool, for the time of a join: taken out again at the end of scope
/// unless the join succeeded and `keep` was called.
///
/// Threads: one.
class PublishedConnections {
 public:
  /// Constructs the client's list. Throws as the pool does; already_exists_error when a list of
  /// that name is still there.
  explicit PublishedConnections(const ClientID& id);
  ~PublishedConnections();
  PublishedConnections(const PublishedConnections&) = delete;
  PublishedConnections& operator=(const PublishedConnections&) = delete;

  /// Fills the list and lets go of the pool: once. Throws as the pool does.
  void publish(const std::list<Connection>& connections);
  void keep() { mKept = true; }

  /// Takes the list of `id` out of the pool, if both are there. Errors are logged, not thrown.
  static void withdraw(const ClientID& id);

 private:
  const ClientID mID;
  std::unique_ptr<ConnectionPool> mPool;
  SharedConnectionList* mList = nullptr;
  bool mKept = false;
};

}  // namespace LIPC
