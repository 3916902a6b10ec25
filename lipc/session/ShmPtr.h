// SPDX-License-Identifier: BSL-1.0
#pragma once

#include "lipc/session/ConnectionPool.h"

namespace LIPC {

/// A short-lived handle on a named object in the managed segment "LIPC_SESSION_CONNECTION_POOL",
/// which the session host creates and nobody else. The segment is mapped from construction to the
/// end of scope, by ConnectionPool::open: Boost's own way to open it may wait for ever.
///
/// `ptr` is null when the pool holds no such object; the caller reports. When the pool itself is
/// missing, damaged or cannot be mapped, or its lock is not to be had (a process died in it), the
/// constructor throws boost::interprocess::interprocess_exception.
///
/// Threads: one at a time.
template <class T>
class ShmPtr {
 public:
  explicit ShmPtr(const char* objectName)
      : mPool(ConnectionPool::open()), ptr(mPool.find(objectName)) {}

  const ConnectionPool& pool() const { return mPool; }

 private:
  ConnectionPool mPool;

 public:
  T* ptr;
};

}  // namespace LIPC
