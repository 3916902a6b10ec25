// SPDX-License-Identifier: BSL-1.0
#include "lipc/session/Remains.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "lipc/realtime/Semaphore.h"
#include "lipc/session/SegmentNames.h"
#include "lipc/session/ShmManaged.h"

namespace LIPC {
namespace {

/// Whether a client of the session has a semaphore of that platform name.
bool isSemaphoreOfAnother(const std::string& platformName, const ClientID& id,
                          const SessionBuffer& session) {
  const auto hasIt = [&](const ClientEntry& entry) {
    const ClientID other = entry.id;
    if (!other.isDefined() || other == id) return false;
    return std::any_of(std::begin(cClientSemaphoreSuffixes), std::end(cClientSemaphoreSuffixes),
                       [&](const char* suffix) {
                         return Semaphore::platformName((other.text() + suffix).c_str()) ==
                                platformName;
                       });
  };
  return std::any_of(std::begin(session.entries), std::end(session.entries), hasIt);
}

/// The names of `id` that lead to a segment of its own that nobody has attached.
std::vector<std::string> unattachedOf(const ClientID& id, const SessionBuffer& session) {
  std::vector<std::string> names;
  for (const std::string& name : segmentNamesOf(id)) {
    const auto segment = ShmManaged::find(name.c_str());
    if (segment && !segment->isAttached() && nameOnSameKey(name, id, session).empty())
      names.push_back(name);
  }
  return names;
}

}  // namespace

unsigned removeRemains(const ClientID& id, const SessionBuffer& session) {
  if (!id.isDefined()) return 0;
  unsigned removed = 0;
  // Of a row that is still there, or a list: its owner is not just leaving, which ends with them.
  for (const std::string& name : unattachedOf(id, session))
    if (ShmManaged::removeIfUnattached(name.c_str())) ++removed;
  if (ShmManaged::find(id.text().c_str())) return removed;
  for (const char* suffix : cClientSemaphoreSuffixes) {
    const std::string fullName = id.text() + suffix;
    if (!isSemaphoreOfAnother(Semaphore::platformName(fullName.c_str()), id, session)) {
      Semaphore::unlink(fullName.c_str());
    }
  }
  return removed;
}

}  // namespace LIPC
