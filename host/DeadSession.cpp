#include "host/DeadSession.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

#include <boost/interprocess/shared_memory_object.hpp>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "host/ClientSegments.h"
#include "host/Leftovers.h"
#include "lipc/realtime/Semaphore.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/session/ShmManaged.h"
#include "lipc/session/shmKey.h"
#include "lipc/util/SharedWord.h"

namespace host {
namespace {

using LIPC::ShmManaged;

/// A living host beats ten times a second.
constexpr int cHeartbeatLooks = 20;
constexpr std::chrono::milliseconds cHeartbeatLookInterval(50);

constexpr const char* cSessionWideSegments[] = {
    LIPC::cVersionSegment,
    LIPC::cNoConnectSegment,
    LIPC::cSessionSegment,
    LIPC::cPannerValuesSegment,
};

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
    throw HostError("The key file " + path + " cannot be opened: " + std::strerror(errno) + ".");
  }
  if (flock(mFile, LOCK_EX | LOCK_NB) != 0) {
    close(mFile);
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
  for (const char* name : cSessionWideSegments) {
    if (!ShmManaged::find(name)) continue;
    if (!ShmManaged::removeIfPresent(name)) {
      throw HostError(std::string("The segment \"") + name +
                      "\" of a dead session cannot be removed: " + std::strerror(errno) +
                      ". Remove it as its owner (ipcs -m, ipcrm -m).");
    }
    removed.push_back(std::string("segment ") + name);
  }
  if (boost::interprocess::shared_memory_object::remove(LIPC::cConnectionPoolSegment)) {
    removed.push_back(std::string("connection pool ") + LIPC::cConnectionPoolSegment);
  }
  for (std::string& phrase : removeLeftovers().removed)
    removed.push_back(std::move(phrase));
  if (table.get() != nullptr) sendClientsAway(*table.get());
  return removed;
}

}  // namespace host
