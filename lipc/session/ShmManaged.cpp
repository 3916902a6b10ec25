#include "lipc/session/ShmManaged.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include <sys/ipc.h>
#include <sys/shm.h>

#include "lipc/session/shmKey.h"
#include "lipc/util/Log.h"

namespace LIPC {
namespace {

constexpr int cEverybodyReadsAndWrites = 0666;
constexpr key_t cNoKey = -1;

/// shmget that refuses the key of a name without a key file. The system would accept it.
int getSegment(key_t key, std::size_t bytes, int flags) {
  if (key == cNoKey) {
    errno = EINVAL;
    return -1;
  }
  return shmget(key, bytes, flags);
}

/// The size as the system knows it; 0 when it cannot be asked.
std::size_t segmentBytes(int shmid) {
  shmid_ds status{};
  return shmctl(shmid, IPC_STAT, &status) == 0 ? status.shm_segsz : 0;
}

/// Held around every attach and detach of this process. The kernel may give a new segment the
/// address of one that another thread has just detached; the lock puts the two in an order.
std::mutex& mappingMutex() {
  static std::mutex mutex;
  return mutex;
}

void* attachSegment(int shmid, int flags) {
  const std::lock_guard lock(mappingMutex());
  return shmat(shmid, nullptr, flags);
}

void detachSegment(const void* address) {
  const std::lock_guard lock(mappingMutex());
  shmdt(address);
}

void* attachOrReport(int shmid, int flags) {
  void* address = attachSegment(shmid, flags);
  if (address != reinterpret_cast<void*>(-1)) return address;
  std::perror("shmat");
  return nullptr;
}

[[noreturn]] void exitAfterRemoveFailure(const char* format, const char* name) {
  Lct::Log(Lct::eLogError, "remove", format, name, std::strerror(errno));
  std::exit(1);
}

}  // namespace

ShmManaged::ShmManaged(const char* name) : key(shmKey(name)) {}

int ShmManaged::remove(const char* name) {
  // deliberate: the creation flag is kept although nothing of size 0 is ever created.
  const int id = getSegment(shmKey(name), 0, IPC_CREAT | cEverybodyReadsAndWrites);
  if (id < 0) exitAfterRemoveFailure("Could not get shm object (shmget) (%s): %s", name);
  if (shmctl(id, IPC_RMID, nullptr) == -1) {
    exitAfterRemoveFailure("Could not remove shm object (shmctl) (%s): %s", name);
  }
  return 0;
}

bool ShmManaged::removeIfPresent(const char* name) {
  const int id = getSegment(existingShmKey(name), 0, 0);
  return id >= 0 && shmctl(id, IPC_RMID, nullptr) == 0;
}

bool ShmManaged::holdsItsName() const {
  return shmid >= 0 && getSegment(key, 0, 0) == shmid;
}

void ShmManaged::open(std::size_t minimumBytes) {
  shmid = getSegment(key, 0, cEverybodyReadsAndWrites);
  if (shmid >= 0 && segmentBytes(shmid) >= minimumBytes) attach();
}

void ShmManaged::createOrOpen(std::size_t bytes) {
  constexpr int flags = IPC_CREAT | cEverybodyReadsAndWrites;
  shmid = getSegment(key, bytes, flags);
  if (shmid < 0 && errno == EINVAL) {
    const int smaller = getSegment(key, 0, 0);
    if (smaller >= 0 && shmctl(smaller, IPC_RMID, nullptr) == 0) {
      shmid = getSegment(key, bytes, flags);
    }
  }
  if (shmid >= 0) attach();
}

void ShmManaged::attach() {
  address = attachOrReport(shmid, 0);
  if (address != nullptr) mMappedBytes = segmentBytes(shmid);
}

void ShmManaged::detach() {
  if (address != nullptr) detachSegment(address);
  address = nullptr;
  mMappedBytes = 0;
}

void ShmManaged::detachAndRemoveOrExit() {
  detach();
  if (shmid >= 0 && shmctl(shmid, IPC_RMID, nullptr) == -1) {
    std::perror("shmctl");
    std::exit(1);
  }
}

const void* attachReadOnly(const char* name, std::size_t minimumBytes) {
  const int id = getSegment(existingShmKey(name), 0, 0);
  if (id < 0 || segmentBytes(id) < minimumBytes) return nullptr;
  const void* address = attachSegment(id, SHM_RDONLY);
  return address != reinterpret_cast<void*>(-1) ? address : nullptr;
}

void detachReadOnly(const void* address) {
  if (address != nullptr) detachSegment(address);
}

}  // namespace LIPC
