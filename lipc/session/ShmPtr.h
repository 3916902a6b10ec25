#pragma once

#include <boost/interprocess/managed_shared_memory.hpp>

#include "lipc/session/SessionNames.h"

namespace LIPC {

/// A short-lived handle on a named object in the managed segment "LIPC_SESSION_CONNECTION_POOL",
/// which the session host creates and nobody else. The segment is mapped from construction to the
/// end of scope.
///
/// `ptr` is null when the pool holds no such object; the caller reports. When the pool itself is
/// missing or cannot be mapped, or its lock is not to be had (a process died in it), the
/// constructor throws boost::interprocess::interprocess_exception.
///
/// Threads: one at a time.
template <class T>
class ShmPtr {
 public:
  explicit ShmPtr(const char* objectName)
      : mPool(boost::interprocess::open_only, cConnectionPoolSegment),
        ptr(mPool.find<T>(objectName).first) {}

  boost::interprocess::managed_shared_memory& pool() { return mPool; }
  const boost::interprocess::managed_shared_memory& pool() const { return mPool; }

 private:
  boost::interprocess::managed_shared_memory mPool;

 public:
  T* ptr;
};

}  // namespace LIPC
