// SPDX-License-Identifier: BSL-1.0

// The living source: this machine.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <map>
#include <set>

#include <fcntl.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "inspect/ChildRead.h"
#include "inspect/Leftovers.h"
#include "inspect/Settings.h"
#include "inspect/Source.h"
#include "lipc/session/ConnectionPool.h"
#include "lipc/session/SegmentNames.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/session/ShmManaged.h"
#include "lipc/session/shmKey.h"
#include "lipc/util/SystemError.h"
#include "lipc/util/platform/MachinePlatform.h"
#include "lipc/util/platform/SemaphorePlatform.h"

namespace inspect {
namespace {

namespace platform = LIPC::platform;

/// What the system tells of processes. It is asked for each once a second at the most, since a
/// session of a thousand clients has three segments for each, made by few processes.
class Processes {
 public:
  ProcessFacts facts(pid_t process) {
    forgetWhatIsOld();
    if (process <= 0) return {process, false, false, {}};
    const auto [known, isNew] = mFacts.try_emplace(process);
    if (isNew) {
      platform::ProcessState state = platform::processState(process);
      known->second = {process, state.lives, state.isStopped, std::move(state.command)};
    }
    return known->second;
  }

  /// Who has segments attached, a process for each mapping.
  const std::map<int, std::vector<pid_t>>& users() {
    forgetWhatIsOld();
    if (!mUsers) mUsers = platform::segmentUsers();
    return *mUsers;
  }

 private:
  using Clock = std::chrono::steady_clock;

  void forgetWhatIsOld() {
    if (Clock::now() - mSince < std::chrono::seconds(1)) return;
    mSince = Clock::now();
    mFacts.clear();
    mUsers.reset();
  }

  Clock::time_point mSince = Clock::now();
  std::map<pid_t, ProcessFacts> mFacts;
  std::optional<std::map<int, std::vector<pid_t>>> mUsers;
};

SegmentFacts segmentFacts(const std::string& name, const LIPC::SegmentState& state) {
  SegmentFacts facts;
  facts.name = name;
  facts.id = state.id;
  facts.error = state.error;
  facts.bytes = state.bytes;
  facts.attachCount = state.attachCount;
  facts.owner = state.owner;
  facts.permissions = state.permissions;
  facts.lastAttached = state.lastAttached;
  facts.lastDetached = state.lastDetached;
  facts.creator.id = state.creator;
  facts.lastUser.id = state.lastUser;
  return facts;
}

void addProcesses(SegmentFacts& facts, Processes& processes, bool withUsers) {
  facts.creator = processes.facts(static_cast<pid_t>(facts.creator.id));
  facts.lastUser = processes.facts(static_cast<pid_t>(facts.lastUser.id));
  if (!withUsers) return;
  std::size_t mappings = 0;
  const auto& users = processes.users();
  if (const auto found = users.find(static_cast<int>(facts.id)); found != users.end()) {
    mappings = found->second.size();
    for (const pid_t user : std::set<pid_t>(found->second.begin(), found->second.end()))
      facts.users.push_back(processes.facts(user));
  }
  facts.areUsersComplete = mappings == facts.attachCount;
}

KeyFileFacts keyFileFacts(const std::string& name) {
  KeyFileFacts facts;
  facts.name = name;
  facts.key = LIPC::existingShmKey(name.c_str());
  struct stat status {};
  if (lstat(LIPC::keyFilePath(name.c_str()).c_str(), &status) != 0) return facts;
  facts.owner = status.st_uid;
  facts.permissions = status.st_mode & 0777;
  facts.modified = status.st_mtime;
  return facts;
}

FolderFacts folderFacts(const std::string& path) {
  FolderFacts facts;
  facts.path = path;
  struct statvfs status {};
  if (statvfs(path.c_str(), &status) != 0) {
    facts.error = errno;
    return facts;
  }
  facts.isWritable = access(path.c_str(), W_OK | X_OK) == 0;
  facts.bytes = std::uint64_t{status.f_blocks} * status.f_frsize;
  facts.bytesFree = std::uint64_t{status.f_bavail} * status.f_frsize;
  return facts;
}

PoolFileFacts poolFileFacts() {
  PoolFileFacts facts;
  const int file = shm_open((std::string("/") + LIPC::cConnectionPoolSegment).c_str(), O_RDONLY, 0);
  facts.error = file < 0 && errno != ENOENT ? errno : 0;
  facts.isThere = file >= 0 || facts.error != 0;
  struct stat status {};
  if (file >= 0 && fstat(file, &status) == 0) {
    facts.bytes = static_cast<std::uint64_t>(status.st_size);
    facts.owner = status.st_uid;
    facts.permissions = status.st_mode & 0777;
  }
  if (file >= 0) close(file);
  return facts;
}

LimitFacts limitFacts() {
  const platform::SharedMemoryLimits limits = platform::sharedMemoryLimits();
  LimitFacts facts;
  facts.largestSegmentBytes = limits.largestSegmentBytes;
  facts.allPages = limits.allPages;
  facts.segments = limits.segments;
  facts.segmentsPerProcess = limits.segmentsPerProcess;
  facts.pageBytes = limits.pageBytes;
  if (const auto inUse = platform::sharedMemoryInUse()) {
    facts.segmentsInUse = inUse->segments;
    facts.pagesInUse = inUse->pages;
  }
  return facts;
}

std::string systemName() {
  utsname names{};
  if (uname(&names) != 0) return {};
  return std::string(names.sysname) + " " + names.release + " " + names.machine;
}

std::string userName() {
  passwd entry{};
  passwd* found = nullptr;
  char buffer[4096];
  const bool isKnown =
      getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found != nullptr;
  return isKnown ? found->pw_name : std::to_string(getuid());
}

void addSemaphores(MachineFacts& facts) {
  const auto semaphores = platform::listNamedSemaphores();
  facts.areSemaphoresListed = semaphores.has_value();
  if (!semaphores) return;
  for (const platform::NamedSemaphore& semaphore : *semaphores) {
    facts.semaphores.push_back({.platformName = semaphore.name,
                                .ageSeconds = semaphore.age.count(),
                                .owner = semaphore.owner,
                                .permissions = semaphore.permissions,
                                .count = std::nullopt});
  }
}

class Machine final : public Source {
 public:
  bool isLive() const override { return true; }
  std::int64_t time() override { return std::time(nullptr); }

  std::optional<SegmentFacts> find(const std::string& name, bool withUsers) override {
    const auto state = LIPC::ShmManaged::find(name.c_str());
    if (!state) return std::nullopt;
    SegmentFacts facts = segmentFacts(name, *state);
    addProcesses(facts, mProcesses, withUsers);
    return facts;
  }

  /// Whatever the segment is: who reads looks at its size.
  Mapping attach(const std::string& name) override {
    const auto state = LIPC::ShmManaged::find(name.c_str());
    if (!state || state->error != 0) return {};
    const void* address = LIPC::attachReadOnly(name.c_str(), state->bytes);
    if (address == nullptr) return {};
    return {std::shared_ptr<const char>(static_cast<const char*>(address), LIPC::detachReadOnly),
            state->bytes};
  }

  PoolBytes pool() override {
    PoolBytes pool;
    auto bytes = readInChild(LIPC::ConnectionPool::readBytes, cDeadline, pool.error);
    if (bytes) {
      pool.state = PoolBytes::eRead;
      pool.bytes = std::move(*bytes);
      return pool;
    }
    const int error = LIPC::ConnectionPool::errorOfOpening();
    pool.state = error == ENOENT ? PoolBytes::eMissing
                 : error == 0    ? PoolBytes::eDamaged
                                 : PoolBytes::eUnreadable;
    if (error != 0) pool.error = LIPC::systemErrorText(error);
    return pool;
  }

  std::optional<std::uint64_t> poolSum() override {
    std::string why;
    const auto bytes = readInChild(
        [] {
          const std::uint64_t sum = LIPC::ConnectionPool::sumBytes();
          return std::string(reinterpret_cast<const char*>(&sum), sizeof sum);
        },
        cDeadline, why);
    std::uint64_t sum = 0;
    if (!bytes || bytes->size() != sizeof sum) return std::nullopt;
    std::memcpy(&sum, bytes->data(), sizeof sum);
    return sum;
  }

  MachineFacts machine() override {
    MachineFacts facts = readNames();
    for (SegmentFacts& segment : facts.segments)
      addProcesses(segment, mProcesses, true);
    facts.system = systemName();
    facts.user = userName();
    facts.userID = getuid();
    facts.limits = limitFacts();
    for (SemaphoreFacts& semaphore : facts.semaphores)
      semaphore.count = platform::semaphoreCount(semaphore.platformName);
    for (const std::string& path : platform::sessionFolders())
      facts.folders.push_back(folderFacts(path));
    facts.settings = settings();
    facts.poolFile = poolFileFacts();
    return facts;
  }

  SettingsFacts settings() override {
    const auto table = LIPC::ShmManaged::find(LIPC::cSessionSegment);
    return readSettingsFiles(table ? platform::environmentVariable(table->creator, "HOME")
                                   : std::nullopt);
  }

  Watched watch(std::chrono::milliseconds duration,
                const std::function<bool(double)>& progress) override {
    return watchSession(*this, duration, progress);
  }

 private:
  Processes mProcesses;
};

}  // namespace

MachineFacts readNames() {
  MachineFacts facts;
  facts.time = std::time(nullptr);
  std::vector<std::string> names = LIPC::namesWithKeyFiles();
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) {
    facts.keyFiles.push_back(keyFileFacts(name));
    if (const auto state = LIPC::ShmManaged::find(name.c_str()))
      facts.segments.push_back(segmentFacts(name, *state));
  }
  addSemaphores(facts);
  return facts;
}

std::unique_ptr<Source> openMachine() {
  return std::make_unique<Machine>();
}

}  // namespace inspect
