// SPDX-License-Identifier: BSL-1.0
#include "inspect/Leftovers.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>

#include "inspect/Evidence.h"
#include "lipc/realtime/Semaphore.h"
#include "lipc/session/SegmentNames.h"
#include "lipc/session/SessionNames.h"
#include "lipc/session/shmKey.h"

namespace inspect {
namespace {

constexpr std::int64_t cConstructionSeconds = 10;
constexpr std::int64_t cKeyFileSeconds = 60;

/// Checksum characters, then characters 8 to 28 of a UUID.
bool isOfUUID(std::string_view platformName) {
  constexpr std::string_view cForm = "########-xxxx-xxxx-xxxx-xxxxx";
  return std::ranges::equal(platformName, cForm, [](char c, char form) {
    if (form == '#') return (c & 0xF0) == 0x30;
    if (form == 'x') return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
    return c == form;
  });
}

bool isLeftover(const SegmentFacts& segment) {
  return !LIPC::isSessionWideName(segment.name) && segment.error == 0 && !segment.isAttached() &&
         LIPC::hasSizeOfName(segment.name, segment.bytes);
}

void addSegments(const MachineFacts& facts, std::vector<Leftover>& leftovers) {
  for (const SegmentFacts& segment : facts.segments) {
    if (!isLeftover(segment)) continue;
    std::string evidence = "nobody has it attached";
    if (segment.creator.id > 0) evidence += "; it was made by " + processText(segment.creator);
    if (segment.lastUser.id > 0 && segment.lastUser.id != segment.creator.id)
      evidence += "; it was used last by " + processText(segment.lastUser);
    leftovers.push_back({Leftover::eSegment, segment.name, LIPC::clientIDOf(segment.name),
                         segment.id, segment.owner, true, std::move(evidence)});
  }
}

/// Platform names of the semaphores of IDs with a segment, and of those without one, with the ID.
struct SemaphoreNames {
  std::set<std::string> used;
  std::map<std::string, std::string> unused;
};

SemaphoreNames semaphoreNames(const MachineFacts& facts, const std::set<std::string>& idsInUse) {
  SemaphoreNames names;
  const auto forEach = [](const std::string& id, const auto& take) {
    for (const char* suffix : LIPC::cClientSemaphoreSuffixes)
      take(LIPC::Semaphore::platformName((id + suffix).c_str()));
  };
  for (const std::string& id : idsInUse)
    forEach(id, [&](std::string name) { names.used.insert(std::move(name)); });
  for (const KeyFileFacts& file : facts.keyFiles) {
    const std::string id = LIPC::clientIDOf(file.name);
    if (LIPC::isSessionWideName(id) || idsInUse.count(id) != 0) continue;
    forEach(id, [&](std::string name) { names.unused.emplace(std::move(name), id); });
  }
  return names;
}

void addSemaphores(const MachineFacts& facts, const std::set<std::string>& idsInUse,
                   std::vector<Leftover>& leftovers) {
  const SemaphoreNames names = semaphoreNames(facts, idsInUse);
  const auto add = [&](const std::string& name, const std::string& id, std::uint32_t owner,
                       std::string evidence) {
    leftovers.push_back({Leftover::eSemaphore, name, id, -1, owner, facts.areSemaphoresListed,
                         std::move(evidence)});
  };
  const auto ofNobody = [](const std::string& id) {
    return "it is of the ID " + id + ", which nobody uses";
  };
  if (!facts.areSemaphoresListed) {
    for (const auto& [name, id] : names.unused)
      if (names.used.count(name) == 0) add(name, id, 0, ofNobody(id));
    return;
  }
  for (const SemaphoreFacts& semaphore : facts.semaphores) {
    const std::string& name = semaphore.platformName;
    if (names.used.count(name) != 0) continue;
    if (const auto unused = names.unused.find(name); unused != names.unused.end()) {
      add(name, unused->second, semaphore.owner, ofNobody(unused->second));
    } else if (isOfUUID(name) && semaphore.ageSeconds >= cConstructionSeconds) {
      add(name, {}, semaphore.owner,
          "it is of a random ID for which there is no key file, and " +
              std::to_string(semaphore.ageSeconds) + " s old");
    }
  }
}

void addKeyFiles(const MachineFacts& facts, const std::set<std::string>& idsWithSegment,
                 std::vector<Leftover>& leftovers) {
  for (const KeyFileFacts& file : facts.keyFiles) {
    const std::string id = LIPC::clientIDOf(file.name);
    const bool isOld = facts.time - file.modified >= cKeyFileSeconds;
    if (LIPC::isSessionWideName(id) || idsWithSegment.count(id) != 0 || !isOld) continue;
    leftovers.push_back({Leftover::eKeyFile, file.name, id, -1, file.owner, true,
                         "the ID " + id +
                             " has no segment; harmless, since the next client of "
                             "that ID uses it again"});
  }
}

}  // namespace

std::vector<Leftover> leftoversIn(const MachineFacts& facts) {
  std::set<std::string> withSegment;
  std::set<std::string> inUse;
  for (const SegmentFacts& segment : facts.segments) {
    withSegment.insert(LIPC::clientIDOf(segment.name));
    if (!isLeftover(segment)) inUse.insert(LIPC::clientIDOf(segment.name));
  }
  std::vector<Leftover> leftovers;
  addSegments(facts, leftovers);
  addSemaphores(facts, inUse, leftovers);
  addKeyFiles(facts, withSegment, leftovers);
  return leftovers;
}

}  // namespace inspect
