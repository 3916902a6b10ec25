// SPDX-License-Identifier: BSL-1.0
#include "lipc/session/ShmManaged.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include "lipc/session/shmKey.h"
#include "lipc/util/Log.h"
#include "lipc/util/SystemError.h"
#include "lipc/util/platform/MemoryPlatform.h"

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

SegmentState stateOf(int shmid) {
  SegmentState state{.id = shmid};
  shmid_ds status{};
  if (shmctl(shmid, IPC_STAT, &status) != 0) {
    state.error = errno;
    return state;
  }
  state.bytes = status.shm_segsz;
  state.attachCount = static_cast<unsigned long>(status.shm_nattch);
  state.creator = status.shm_cpid;
  state.lastUser = status.shm_lpid;
  state.owner = status.shm_perm.uid;
  state.permissions = status.shm_perm.mode & 0777;
  state.lastAttached = status.shm_atime;
  state.lastDetached = status.shm_dtime;
  return state;
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
  const int error = errno;
  std::perror("shmat");
  errno = error;
  return nullptr;
}

[[noreturn]] void exitAfterRemoveFailure(const char* format, const char* name) {
  Lct::Log(Lct::eLogError, "remove", format, name, systemErrorText(errno).c_str());
  std::exit(1);
}

}  // namespace

ShmManaged::ShmManaged(const char* name) : key(shmKey(name)), mName(name) {}

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
  const auto segment = find(name);
  return segment && shmctl(segment->id, IPC_RMID, nullptr) == 0;
}

bool ShmManaged::removeIfUnattached(const char* name) {
  const auto segment = find(name);
  return segment && !segment->isAttached() && shmctl(segment->id, IPC_RMID, nullptr) == 0;
}

std::optional<SegmentState> ShmManaged::find(const char* name) {
  return find(existingShmKey(name));
}

std::optional<SegmentState> ShmManaged::find(key_t key) {
  const int id = getSegment(key, 0, 0);
  return id >= 0 ? std::optional(stateOf(id)) : std::nullopt;
}

ShmManaged::eNameState ShmManaged::nameState() const {
  const int named = getSegment(existingShmKey(mName.c_str()), 0, 0);
  if (named < 0) return eNameFree;
  return named == shmid ? eNameHeld : eNameTaken;
}

void ShmManaged::open(std::size_t minimumBytes) {
  shmid = getSegment(key, 0, cEverybodyReadsAndWrites);
  if (shmid < 0) {
    mError = errno;
  } else if (stateOf(shmid).bytes < minimumBytes) {
    mError = EEXIST;
  } else {
    attach();
  }
}

void ShmManaged::createOrOpen(std::size_t bytes) {
  constexpr int flags = IPC_CREAT | cEverybodyReadsAndWrites;
  shmid = getSegment(key, bytes, flags);
  if (shmid < 0) {
    mError = errno;
    // A smaller one, or the system's limit.
    const auto smaller = mError == EINVAL ? find(key) : std::nullopt;
    if (!smaller) return;
    mError = EEXIST;
    if (smaller->isAttached()) return;
    std::this_thread::sleep_for(cOwnRemovalTime);
    const auto still = find(key);
    const bool isSame = still && still->id == smaller->id && !still->isAttached();
    if (still && (!isSame || shmctl(still->id, IPC_RMID, nullptr) != 0)) return;
    shmid = getSegment(key, bytes, flags);
    mError = shmid < 0 ? errno : 0;
    if (shmid < 0) return;
  }
  if (const SegmentState segment = stateOf(shmid); segment.bytes != bytes && segment.isAttached()) {
    shmid = -1;
    mError = EEXIST;
    return;
  }
  attach();
}

void ShmManaged::attach() {
  address = attachOrReport(shmid, 0);
  if (address != nullptr) {
    mMappedBytes = stateOf(shmid).bytes;
  } else {
    mError = errno;
  }
}

/// Where the system has no call for it, each page is touched: read, or written as it is, in one
/// step, so that what another process writes meanwhile stays.
void ShmManaged::populate(bool toWrite) const {
  if (address == nullptr) return;
  if (toWrite ? platform::populateToWrite(address, mMappedBytes)
              : platform::populateToRead(address, mMappedBytes))
    return;
  const auto pageBytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  char* const bytes = static_cast<char*>(address);
  for (std::size_t at = 0; at < mMappedBytes; at += pageBytes) {
    if (toWrite) {
      __atomic_fetch_or(bytes + at, 0, __ATOMIC_RELAXED);
    } else {
      __atomic_load_n(bytes + at, __ATOMIC_RELAXED);
    }
  }
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

/// While it is attached its identifier is nobody else's; whether it was removed already, its key
/// tells.
void ShmManaged::detachAndTryToRemove() {
  const auto keyed = find(key);
  const bool isMine = keyed && keyed->id == shmid;
  detach();
  if (isMine) shmctl(shmid, IPC_RMID, nullptr);
}

const void* attachReadOnly(const char* name, std::size_t minimumBytes) {
  const auto segment = ShmManaged::find(name);
  if (!segment || segment->bytes < minimumBytes) return nullptr;
  const void* address = attachSegment(segment->id, SHM_RDONLY);
  return address != reinterpret_cast<void*>(-1) ? address : nullptr;
}

void detachReadOnly(const void* address) {
  if (address != nullptr) detachSegment(address);
}

}  // namespace LIPC
