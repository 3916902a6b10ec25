// SPDX-License-Identifier: BSL-1.0
#include "host/Leftovers.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>
#include <thread>

#include "lipc/realtime/Semaphore.h"
#include "lipc/session/ShmManaged.h"
#include "lipc/session/shmKey.h"
#include "lipc/util/SystemError.h"

namespace host {
namespace {

using inspect::Leftover;
using LIPC::ShmManaged;

/// Returns 0 or an errno; ENOENT where nothing is there any more.
int removeOne(const Leftover& leftover) {
  errno = 0;
  bool isRemoved = false;
  switch (leftover.kind) {
    case Leftover::eSegment:
      isRemoved = ShmManaged::removeIfUnattached(leftover.name.c_str());
      break;
    case Leftover::eSemaphore:
      isRemoved = LIPC::Semaphore::unlinkPlatformName(leftover.name.c_str());
      break;
    case Leftover::eKeyFile:
      isRemoved = std::remove(LIPC::keyFilePath(leftover.name.c_str()).c_str()) == 0;
      break;
  }
  if (isRemoved) return 0;
  return errno != 0 ? errno : ENOENT;
}

std::string sentenceOf(const Leftover& segment, int error) {
  return "The segment \"" + segment.name +
         "\" of a dead client cannot be removed: " + LIPC::systemErrorText(error) +
         ". Remove it as its owner or as root: ipcrm -m " + std::to_string(segment.id);
}

/// Removes those of a kind that are still there; adds the IDs of what stays to `staying`.
int removeAll(const std::vector<Leftover>& leftovers, Leftover::eKind kind,
              std::set<std::string>& staying, Removal& removal) {
  int count = 0;
  for (const Leftover& leftover : leftovers) {
    if (leftover.kind != kind) continue;
    if (kind != Leftover::eSegment && staying.count(leftover.clientID) != 0) continue;
    const int error = removeOne(leftover);
    if (error == 0) {
      ++count;
      if (kind == Leftover::eSegment)
        removal.removed.push_back("segment " + leftover.name + " of a dead client");
    } else if (kind == Leftover::eSegment) {
      staying.insert(leftover.clientID);
      if (error == EPERM) removal.kept.push_back(sentenceOf(leftover, error));
    }
  }
  return count;
}

bool isOneOf(const std::vector<Leftover>& leftovers, const Leftover& leftover) {
  return std::find(leftovers.begin(), leftovers.end(), leftover) != leftovers.end();
}

}  // namespace

Removal remove(const std::vector<Leftover>& leftovers) {
  Removal removal;
  if (leftovers.empty()) return removal;
  std::this_thread::sleep_for(ShmManaged::cOwnRemovalTime);
  std::vector<Leftover> still = inspect::leftoversIn(inspect::readNames());
  std::erase_if(still, [&](const Leftover& leftover) { return !isOneOf(leftovers, leftover); });

  std::set<std::string> staying;
  removeAll(still, Leftover::eSegment, staying, removal);
  if (const int count = removeAll(still, Leftover::eSemaphore, staying, removal); count != 0)
    removal.removed.push_back("named semaphores of dead clients: " + std::to_string(count));
  if (const int count = removeAll(still, Leftover::eKeyFile, staying, removal); count != 0)
    removal.removed.push_back("key files of dead clients: " + std::to_string(count));
  return removal;
}

Removal removeLeftovers() {
  std::vector<Leftover> leftovers = inspect::leftoversIn(inspect::readNames());
  std::erase_if(leftovers,
                [](const Leftover& leftover) { return leftover.kind == Leftover::eKeyFile; });
  return remove(leftovers);
}

}  // namespace host
