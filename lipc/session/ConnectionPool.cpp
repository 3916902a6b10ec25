// SPDX-License-Identifier: BSL-1.0
#include "lipc/session/ConnectionPool.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include <boost/interprocess/shared_memory_object.hpp>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "lipc/session/PoolCheck.h"
#include "lipc/session/SessionNames.h"
#include "lipc/util/Log.h"
#include "lipc/util/SharedWord.h"
#include "lipc/util/platform/LockPlatform.h"

namespace LIPC {
namespace {

namespace bip = boost::interprocess;

/// The word in front of the manager, as Boost writes it when a pool is complete.
constexpr std::uint32_t cReady = 2;
/// The system's name of the object, as Boost makes it.
constexpr char cConnectionPoolPath[] = "/LIPC_SESSION_CONNECTION_POOL";
/// Less than this holds no pool.
constexpr std::size_t cLeastBytes = PoolCheck::cManagerOffset + sizeof(PoolManager);

constexpr std::chrono::microseconds cLockInterval(100);

/// For those who hold no lock, or meet one who changes a list with the memory's lock alone.
constexpr int cCheckAttempts = 5;
constexpr std::chrono::milliseconds cCheckInterval(1);

[[noreturn]] void throwDamaged() {
  throw bip::interprocess_exception(bip::error_info(bip::corrupted_error),
                                    "the connection pool is damaged");
}

/// Maps an object that is complete; throws for any other.
bip::mapped_region mapReady(bip::mode_t mode) {
  const bip::shared_memory_object object(bip::open_only, cConnectionPoolSegment, mode);
  bip::offset_t bytes = 0;
  const bool isSized = object.get_size(bytes) && bytes >= bip::offset_t{cLeastBytes};
  if (isSized) {
    bip::mapped_region region(object, mode, 0, static_cast<std::size_t>(bytes));
    if (loadAcquire(*static_cast<const std::uint32_t*>(region.get_address())) == cReady) {
      return region;
    }
  }
  throw bip::interprocess_exception(bip::error_info(bip::corrupted_error),
                                    "the connection pool is not ready");
}

/// What a reader sees of the session's list; false when it cannot be read just now.
bool readList(const char* base, std::size_t bytes, std::vector<Connection>& out) {
  PoolCheck check(base, bytes);
  if (!check.isWhole()) return false;
  // Nobody writes here: the copy is this process's own.
  auto* manager =
      reinterpret_cast<PoolManager*>(const_cast<char*>(base) + PoolCheck::cManagerOffset);
  const auto [list, count] = manager->find_no_lock<SharedConnectionList>(cConnectionListName);
  if (count == 0) return true;
  if (count != 1) return false;
  if (list == nullptr || !check.isList(*list)) return false;
  forEachConnection(base, bytes, *list,
                    [&](const Connection& connection) { out.push_back(connection); });
  return true;
}

/// Null also where something else goes by that name.
SharedConnectionList* findList(PoolManager& manager, const char* name) {
  const auto [list, count] = manager.find<SharedConnectionList>(name);
  return count == 1 ? list : nullptr;
}

struct AlignedDelete {
  void operator()(char* memory) const {
    ::operator delete (memory, std::align_val_t{PoolCheck::cManagerOffset});
  }
};

}  // namespace

ConnectionPool::ConnectionPool(bip::mapped_region region)
    : mRegion(std::move(region)),
      mBase(static_cast<char*>(mRegion.get_address())),
      mBytes(mRegion.get_size()) {}

PoolManager& ConnectionPool::manager() const {
  return *reinterpret_cast<PoolManager*>(mBase + PoolCheck::cManagerOffset);
}

ConnectionPool ConnectionPool::open() {
  return ConnectionPool(mapReady(bip::read_write));
}

ConnectionPool ConnectionPool::create(std::size_t bytes) {
  bip::shared_memory_object object(bip::create_only, cConnectionPoolSegment, bip::read_write,
                                   bip::permissions(0666));
  try {
    object.truncate(static_cast<bip::offset_t>(bytes));
    if (const int error = allocatePages(object.get_mapping_handle().handle, bytes); error != 0) {
      throw std::system_error(error, std::generic_category(),
                              "the connection pool's shared memory cannot be allocated");
    }
    ConnectionPool pool(bip::mapped_region(object, bip::read_write, 0, bytes));
    new (&pool.manager()) PoolManager(bytes - PoolCheck::cManagerOffset);
    storeRelease(*reinterpret_cast<std::uint32_t*>(pool.mBase), cReady);
    return pool;
  } catch (...) {
    remove();
    throw;
  }
}

bool ConnectionPool::remove() {
  return bip::shared_memory_object::remove(cConnectionPoolSegment);
}

int ConnectionPool::errorOfOpening() {
  const int file = shm_open(cConnectionPoolPath, O_RDONLY, 0);
  if (file < 0) return errno;
  close(file);
  return 0;
}

std::string ConnectionPool::readBytes() {
  const bip::mapped_region region = mapReady(bip::read_only);
  return {static_cast<const char*>(region.get_address()), region.get_size()};
}

std::uint64_t ConnectionPool::sumBytes() {
  const bip::mapped_region region = mapReady(bip::read_only);
  const auto* words = static_cast<const char*>(region.get_address());
  // Four sums side by side: each step of one waits for its multiplication.
  std::uint64_t sums[4] = {1, 2, 3, 4};
  for (std::size_t at = 0; at + sizeof sums <= region.get_size(); at += sizeof sums) {
    std::uint64_t part[4];
    std::memcpy(part, words + at, sizeof part);
    for (int i = 0; i < 4; ++i)
      sums[i] = (sums[i] ^ part[i]) * 0x9E3779B97F4A7C15U;
  }
  return sums[0] ^ (sums[1] << 1) ^ (sums[2] << 2) ^ (sums[3] << 3);
}

std::vector<Connection> ConnectionPool::readSessionList(std::string_view poolBytes) {
  const std::size_t bytes = poolBytes.size();
  if (bytes < cLeastBytes) throwDamaged();
  const std::unique_ptr<char, AlignedDelete> copy(
      static_cast<char*>(::operator new (bytes, std::align_val_t{PoolCheck::cManagerOffset})));
  std::memcpy(copy.get(), poolBytes.data(), bytes);
  std::vector<Connection> connections;
  if (!readList(copy.get(), bytes, connections)) throwDamaged();
  return connections;
}

/// Boost's own wait for the lock goes by the clock on the wall.
void ConnectionPool::lockAndCall(void (*call)(void*), void* operation) const {
  // Looked at before the lock is touched: a lock of no kind may end the process.
  if (!PoolCheck(mBase, mBytes).isHeadIntact()) throwDamaged();
  auto run = [&] { call(operation); };
  const auto deadline = std::chrono::steady_clock::now() + cLockTimeout;
  while (!manager().try_atomic_func(run)) {
    if (std::chrono::steady_clock::now() >= deadline) {
      throw bip::interprocess_exception(
          bip::error_info(bip::timeout_when_locking_error),
          "the connection pool's lock is not given back: its holder died");
    }
    std::this_thread::sleep_for(cLockInterval);
  }
}

void ConnectionPool::requireWhole(const SharedConnectionList* list) const {
  for (int attempt = 0;; ++attempt) {
    PoolCheck check(mBase, mBytes);
    if (check.isWhole() && (list == nullptr || check.isList(*list))) return;
    if (attempt == cCheckAttempts) throwDamaged();
    std::this_thread::sleep_for(cCheckInterval);
  }
}

/// Throws here, where nothing has changed yet, when a process died in the memory's lock alone.
void ConnectionPool::tryMemory() const {
  manager().deallocate(manager().allocate(1, std::nothrow));
}

void ConnectionPool::requireWhole(const SharedConnectionList& list) const {
  requireWhole(&list);
}

SharedConnectionList* ConnectionPool::find(const char* name) const {
  SharedConnectionList* list = nullptr;
  locked([&] {
    requireWhole(nullptr);
    list = findList(manager(), name);
  });
  return list;
}

void ConnectionPool::destroy(const char* name) {
  auto* list = findList(manager(), name);
  if (list == nullptr) return;
  requireWhole(*list);
  manager().destroy<SharedConnectionList>(name);
}

PublishedConnections::PublishedConnections(const ClientID& id)
    : mID(id), mPool(std::make_unique<ConnectionPool>(ConnectionPool::open())) {
  mPool->change([&](PoolManager& manager) {
    mList = manager.construct<SharedConnectionList>(mID.text().c_str())(&manager);
  });
}

PublishedConnections::~PublishedConnections() {
  if (!mKept) withdraw(mID);
}

void PublishedConnections::publish(const std::list<Connection>& connections) {
  mPool->change([&](PoolManager&) {
    mPool->requireWhole(*mList);
    for (const Connection& connection : connections)
      mList->push_back(connection);
  });
  mPool.reset();
}

void PublishedConnections::withdraw(const ClientID& id) {
  const auto report = [&](const std::exception& error) {
    Lct::Log(Lct::eLogWarn, "PublishedConnections", "list of %s not withdrawn: %s",
             id.text().c_str(), error.what());
  };
  try {
    ConnectionPool pool = ConnectionPool::open();
    pool.change([&](PoolManager&) { pool.destroy(id.text().c_str()); });
  } catch (const bip::interprocess_exception& error) {
    // Unless the host took the pool away.
    if (error.get_error_code() != bip::not_found_error) report(error);
  } catch (const std::exception& error) {
    report(error);
  }
}

}  // namespace LIPC
