// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

#include "host/HostError.h"

namespace host {

/// Makes this process the machine's one starting or running host: an advisory lock on the session's
/// key file, which the system releases with the process.
class HostLock {
 public:
  /// Throws SessionAliveError when another process holds it, HostError when there is no key file.
  HostLock();
  ~HostLock();
  HostLock(const HostLock&) = delete;
  HostLock& operator=(const HostLock&) = delete;

 private:
  int mFile;
};

/// True when the present session's heartbeat advances; watches it for about a second. Reads only.
bool isSessionAlive();

/// Removes what a dead host and dead clients left: the session's segments and the connection pool,
/// and the clients' leftovers (Leftovers.h). As soon as the old table has lost its name, the
/// clients that still hold it are woken, see its heartbeat go back and come over, whatever became
/// of the clock. Returns a phrase for each thing removed. Throws HostError for a session segment
/// that cannot be removed (another user's).
std::vector<std::string> clearDeadSession();

}  // namespace host
