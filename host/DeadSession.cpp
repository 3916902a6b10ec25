#include "host/DeadSession.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <string_view>
#include <thread>

#include <boost/interprocess/shared_memory_object.hpp>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include "lipc/realtime/SHMSlices.h"
#include "lipc/realtime/Semaphore.h"
#include "lipc/session/ClientBuffer.h"
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

bool exists(const char* name) {
  const key_t key = LIPC::existingShmKey(name);
  return key != -1 && shmget(key, 0, 0) >= 0;
}

/// Sends the clients that are still attached to the old table away from it.
void turnHeartbeatBack() {
  const LIPC::ShmManagedOpen<LIPC::SessionBuffer> session(LIPC::cSessionSegment);
  if (session.get() != nullptr) LIPC::storeRelease(session->heartbeat, std::uint64_t{0});
}

bool endsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

/// True for sizes that a segment of this name has when it is a client's; another program's segment
/// may share a key by accident.
bool hasSizeOfName(std::string_view name, std::size_t bytes) {
  if (endsWith(name, LIPC::cSendSuffix) || endsWith(name, LIPC::cReturnSuffix)) {
    const auto perChannel = static_cast<std::size_t>(LIPC::SHMSlices::sizeOfStruct(1) -
                                                     LIPC::SHMSlices::sizeOfStruct(0));
    return bytes >= sizeof(LIPC::SHMSlices) && (bytes - sizeof(LIPC::SHMSlices)) % perChannel == 0;
  }
  return bytes == sizeof(LIPC::ClientBuffer);
}

/// Removes the client segment of that name when no process is attached to it.
bool removeIfOrphan(const std::string& name) {
  const key_t key = LIPC::existingShmKey(name.c_str());
  const int id = key != -1 ? shmget(key, 0, 0) : -1;
  shmid_ds status{};
  if (id < 0 || shmctl(id, IPC_STAT, &status) != 0) return false;
  if (status.shm_nattch != 0 || !hasSizeOfName(name, status.shm_segsz)) return false;
  if (shmctl(id, IPC_RMID, nullptr) != 0) return false;
  for (const char* suffix : {LIPC::cMustDisconnectSuffix, LIPC::cKeepAliveMutexSuffix}) {
    LIPC::Semaphore::unlink((name + suffix).c_str());
  }
  return true;
}

/// The segment names of all key files on this machine.
std::vector<std::string> namesWithKeyFiles() {
  const std::string prefix = LIPC::cKeyFilePrefix;
  const std::size_t slash = prefix.rfind('/');
  const std::string folder = prefix.substr(0, slash);
  const std::string filePrefix = prefix.substr(slash + 1);
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(folder.c_str()), closedir);
  if (!directory) return names;
  while (const dirent* entry = readdir(directory.get())) {
    const std::string_view file = entry->d_name;
    if (file.substr(0, filePrefix.size()) == filePrefix) {
      names.emplace_back(file.substr(filePrefix.size()));
    }
  }
  return names;
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
  // The version goes first: without it nobody joins while the rest is taken away.
  for (const char* name : cSessionWideSegments) {
    if (!exists(name)) continue;
    if (name == std::string_view(LIPC::cSessionSegment)) turnHeartbeatBack();
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
  for (const std::string& name : removeOrphanSegments()) {
    removed.push_back("segment " + name + " of a dead client");
  }
  return removed;
}

std::vector<std::string> removeOrphanSegments() {
  std::vector<std::string> removed;
  for (const std::string& name : namesWithKeyFiles()) {
    if (!LIPC::isSessionWideName(name) && removeIfOrphan(name)) removed.push_back(name);
  }
  return removed;
}

}  // namespace host
