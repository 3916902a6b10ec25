// SPDX-License-Identifier: BSL-1.0
#include "host/DeadSession.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "host/ClientSegments.h"
#include "host/Leftovers.h"
#include "lipc/realtime/Semaphore.h"
#include "lipc/session/ConnectionPool.h"
#include "lipc/session/SegmentNames.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/session/ShmManaged.h"
#include "lipc/session/shmKey.h"
#include "lipc/util/SharedWord.h"
#include "lipc/util/SystemError.h"

namespace host {
namespace {

using LIPC::ShmManaged;

/// A living host beats ten times a second.
constexpr int cHeartbeatLooks = 20;
constexpr std::chrono::milliseconds cHeartbeatLookInterval(50);

struct SessionWide {
  const char* name;
  std::size_t bytes;  // 0: any
};
constexpr SessionWide cSessionWideSegments[] = {
    {LIPC::cVersionSegment, sizeof(LIPC::VersionRecord)},
    {LIPC::cNoConnectSegment, 0},
    {LIPC::cSessionSegment, sizeof(LIPC::SessionBuffer)},
    {LIPC::cPannerValuesSegment, 0},
};

/// The name of a client whose living segment a session-wide name leads to, since both have one key;
/// empty when there is none.
std::string clientOnKeyOf(const SessionWide& wide, const LIPC::SegmentState& segment) {
  if (segment.bytes == wide.bytes || !segment.isAttached()) return {};
  for (const std::string& name : LIPC::namesWithKeyFiles()) {
    if (LIPC::isSessionWideName(name) || !LIPC::hasSizeOfName(name, segment.bytes)) continue;
    const auto same = ShmManaged::find(name.c_str());
    if (same && same->id == segment.id) return name;
  }
  return {};
}

/// Gives the name another key. That of the table itself stays: its key file is the hosts' lock.
void leaveToClient(const SessionWide& wide, const std::string& client) {
  if (wide.name != LIPC::cSessionSegment && LIPC::renewKeyFile(wide.name)) return;
  throw HostError(std::string("The segment \"") + wide.name + "\" has the key of \"" + client +
                  "\", a living client's. End that client, delete " +
                  LIPC::keyFilePath(client.c_str()) + " and start again.");
}

/// Sends the clients that are still attached to the old table away from it, and posts whatever one
/// may be waiting for, once: a clock that was set back meanwhile may have it wait for hours. Who
/// gets the registration lock by it sees that the table lost its name, and hands the lock on.
void sendClientsAway(LIPC::SessionBuffer& table) {
  LIPC::storeRelease(table.heartbeat, std::uint64_t{0});
  for (const LIPC::ClientEntry& entry : table.entries) {
    if (const LIPC::ClientID id = entry.id; id.isDefined()) askToLeave(id);
  }
  LIPC::Semaphore::postIfPresent(table.registrationEndedSemaphore);
  LIPC::Semaphore::postIfPresent(table.clientsCanRegisterMutex);
}

}  // namespace

HostLock::HostLock() {
  const std::string path = LIPC::keyFilePath(LIPC::cSessionSegment);
  mFile = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (mFile < 0) mFile = open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0666);
  if (mFile < 0) {
    throw HostError("The key file " + path + " cannot be opened: " + LIPC::systemErrorText(errno) +
                    ".");
  }
  if (flock(mFile, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    close(mFile);
    if (error != EWOULDBLOCK) {
      throw HostError("The key file " + path +
                      " cannot be locked: " + LIPC::systemErrorText(error) + ".");
    }
    throw SessionAliveError(
        "A session is alive on this machine: another lipc host runs here, or is stopped. Nothing "
        "was touched. See it with: lipc ls");
  }
}

HostLock::~HostLock() {
  close(mFile);
}

bool isSessionAlive() {
  const LIPC::ShmReadOnly<LIPC::SessionBuffer> session(LIPC::cSessionSegment);
  if (session.get() == nullptr) return false;
  const std::uint64_t first = LIPC::loadAcquire(session->heartbeat);
  for (int look = 0; look < cHeartbeatLooks; ++look) {
    std::this_thread::sleep_for(cHeartbeatLookInterval);
    if (LIPC::loadAcquire(session->heartbeat) > first) return true;
  }
  return false;
}

std::vector<std::string> clearDeadSession() {
  std::vector<std::string> removed;
  const LIPC::ShmManagedOpen<LIPC::SessionBuffer> table(LIPC::cSessionSegment);
  // The version goes first: without it nobody joins while the rest is taken away.
  for (const SessionWide& wide : cSessionWideSegments) {
    const auto segment = ShmManaged::find(wide.name);
    if (!segment) continue;
    if (const std::string client = clientOnKeyOf(wide, *segment); !client.empty()) {
      leaveToClient(wide, client);
      continue;
    }
    if (!ShmManaged::removeIfPresent(wide.name) && ShmManaged::find(wide.name)) {
      throw HostError(std::string("The segment \"") + wide.name +
                      "\" of a dead session cannot be removed: " + LIPC::systemErrorText(errno) +
                      ". Remove it as its owner (ipcs -m, ipcrm -m).");
    }
    removed.push_back(std::string("segment ") + wide.name);
    if (wide.name == LIPC::cSessionSegment && table.get() != nullptr) sendClientsAway(*table.get());
  }
  if (LIPC::ConnectionPool::remove()) {
    removed.push_back(std::string("connection pool ") + LIPC::cConnectionPoolSegment);
  }
  for (std::string& phrase : removeLeftovers().removed)
    removed.push_back(std::move(phrase));
  return removed;
}

}  // namespace host
