// SPDX-License-Identifier: BSL-1.0
#include "bench/HandJoin.h"

#include <stdexcept>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include "lipc/realtime/SHMSlices.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/ConnectionPool.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/session/SessionNames.h"
#include "lipc/session/shmKey.h"

namespace bench {
namespace {

/// A name's key comes from its file, which is made with every look.
key_t keyOf(const std::string& name) {
  const std::string path = LIPC::cKeyFilePrefix + name;
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (file >= 0) close(file);
  return ftok(path.c_str(), 1);
}

void populate(char* address, std::size_t bytes, bool isOwn) {
#if defined(MADV_POPULATE_READ) && defined(MADV_POPULATE_WRITE)
  if (madvise(address, bytes, isOwn ? MADV_POPULATE_WRITE : MADV_POPULATE_READ) == 0) return;
#endif
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  for (std::size_t at = 0; at < bytes; at += page) {
    volatile char& byte = address[at];
    const char value = byte;
    if (isOwn) byte = value;
  }
}

void mapPool() {
  const std::string path = std::string("/") + LIPC::cConnectionPoolSegment;
  const int file = shm_open(path.c_str(), O_RDWR, 0);
  struct stat status {};
  if (file < 0 || fstat(file, &status) != 0) throw std::runtime_error("no connection pool");
  const auto size = static_cast<std::size_t>(status.st_size);
  void* const pool = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (pool != MAP_FAILED) munmap(pool, size);
}

std::string platformName(const std::string& owner, const char* suffix) {
  return LIPC::Semaphore::platformName((owner + suffix).c_str());
}

}  // namespace

HandJoin::HandJoin(unsigned channels) {
  shmget(keyOf(LIPC::cNoConnectSegment), 0, 0666);
  attach(LIPC::cVersionSegment, sizeof(LIPC::VersionRecord), false);
  attach(LIPC::cSessionSegment, sizeof(LIPC::SessionBuffer), false);
  for (const char* suffix : LIPC::cSessionSemaphoreSuffixes) {
    const std::string name = platformName(LIPC::cSessionSegment, suffix);
    mSemaphores.push_back(std::make_unique<BareSemaphore>(name, false));
  }
  const std::string name = cName;
  const auto ring = LIPC::SHMSlices::sizeOfStruct(static_cast<unsigned short>(channels));
  attach(name, sizeof(LIPC::ClientBuffer), true);
  for (const char* suffix : LIPC::cClientSemaphoreSuffixes) {
    mSemaphores.push_back(std::make_unique<BareSemaphore>(platformName(name, suffix), true));
  }
  attach(name + LIPC::cSendSuffix, static_cast<std::size_t>(ring), true);
  attach(name + LIPC::cReturnSuffix, static_cast<std::size_t>(ring), true);
  mapPool();
  attach(LIPC::cPannerValuesSegment, 1, false);
}

HandJoin::~HandJoin() {
  for (const Segment& segment : mSegments) {
    shmdt(segment.address);
    if (segment.isOwn) shmctl(segment.id, IPC_RMID, nullptr);
  }
}

void HandJoin::attach(const std::string& name, std::size_t bytes, bool isOwn) {
  const int id = shmget(keyOf(name), isOwn ? bytes : 0, (isOwn ? IPC_CREAT : 0) | 0666);
  void* const address = id >= 0 ? shmat(id, nullptr, 0) : reinterpret_cast<void*>(-1);
  if (address == reinterpret_cast<void*>(-1)) throw std::runtime_error("no segment " + name);
  mSegments.push_back({id, address, isOwn});
  populate(static_cast<char*>(address), bytes, isOwn);
}

}  // namespace bench
