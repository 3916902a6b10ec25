#include "host/Leftovers.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <set>
#include <string_view>
#include <thread>

#include "lipc/realtime/Semaphore.h"
#include "lipc/session/SegmentNames.h"
#include "lipc/session/SessionNames.h"
#include "lipc/session/ShmManaged.h"
#include "lipc/session/shmKey.h"
#include "lipc/util/platform/SemaphorePlatform.h"

namespace host {
namespace {

using LIPC::Semaphore;
using LIPC::ShmManaged;

constexpr std::chrono::seconds cConstructionTime{10};
/// An owner that leaves detaches its segment, then removes it; that fails, which ends its process,
/// when somebody has removed it in between.
constexpr std::chrono::milliseconds cOwnRemovalTime{50};

/// The segment names of all key files on this machine but the session's own.
std::vector<std::string> clientNames() {
  std::vector<std::string> names = LIPC::namesWithKeyFiles();
  std::erase_if(names, [](const std::string& name) { return LIPC::isSessionWideName(name); });
  return names;
}

/// The segments of these names that are a client's and that nobody has attached, by name.
std::map<std::string, int> findOrphans(const std::vector<std::string>& names) {
  std::map<std::string, int> orphans;
  for (const std::string& name : names) {
    const auto segment = ShmManaged::find(name.c_str());
    if (segment && !segment->isAttached() && LIPC::hasSizeOfName(name, segment->bytes))
      orphans.emplace(name, segment->id);
  }
  return orphans;
}

void remove(const std::string& name, int shmid, Leftovers& leftovers) {
  errno = 0;
  if (ShmManaged::removeIfUnattached(name.c_str())) {
    leftovers.removed.push_back("segment " + name + " of a dead client");
  } else if (errno == EPERM) {
    leftovers.kept.push_back(
        "The segment \"" + name + "\" of a dead client cannot be removed: " + std::strerror(EPERM) +
        ". Remove it as its owner or as root: ipcrm -m " + std::to_string(shmid));
  }
}

void removeOrphans(const std::vector<std::string>& names, Leftovers& leftovers) {
  const std::map<std::string, int> before = findOrphans(names);
  if (before.empty()) return;
  std::this_thread::sleep_for(cOwnRemovalTime);
  for (const auto& orphan : findOrphans(names)) {
    const auto same = before.find(orphan.first);
    if (same != before.end() && *same == orphan) remove(orphan.first, orphan.second, leftovers);
  }
}

/// Checksum characters, then characters 8 to 28 of a UUID.
bool isOfUUID(std::string_view posixName) {
  constexpr std::string_view cForm = "########-xxxx-xxxx-xxxx-xxxxx";
  return std::ranges::equal(posixName, cForm, [](char c, char form) {
    if (form == '#') return (c & 0xF0) == 0x30;
    if (form == 'x') return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
    return c == form;
  });
}

void removeSemaphores(const std::vector<std::string>& names, Leftovers& leftovers) {
  std::set<std::string> used;
  std::set<std::string> unused;
  for (const std::string& name : names) {
    std::set<std::string>& owned = ShmManaged::find(name.c_str()) ? used : unused;
    for (const char* suffix : {LIPC::cMustDisconnectSuffix, LIPC::cKeepAliveMutexSuffix})
      owned.insert(Semaphore::platformName((name + suffix).c_str()));
  }
  for (const auto& [posixName, age] : LIPC::platform::listNamedSemaphores()) {
    if (isOfUUID(posixName) && age >= cConstructionTime) unused.insert(posixName);
  }
  int removed = 0;
  for (const std::string& posixName : unused) {
    if (used.count(posixName) == 0 && Semaphore::unlinkPlatformName(posixName.c_str())) ++removed;
  }
  if (removed != 0) {
    leftovers.removed.push_back("named semaphores of dead clients: " + std::to_string(removed));
  }
}

}  // namespace

Leftovers removeLeftovers() {
  Leftovers leftovers;
  const std::vector<std::string> names = clientNames();
  removeOrphans(names, leftovers);
  removeSemaphores(names, leftovers);
  return leftovers;
}

}  // namespace host
