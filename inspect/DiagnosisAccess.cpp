// SPDX-License-Identifier: BSL-1.0

// Who owns a session's parts, and whether those who need them may use them.
#include <algorithm>
#include <cstring>
#include <set>

#include "inspect/DiagnosisParts.h"
#include "lipc/realtime/Semaphore.h"
#include "lipc/session/SessionNames.h"
#include "lipc/util/SystemError.h"

namespace inspect {
namespace {

constexpr std::uint32_t cRoot = 0;
constexpr std::uint32_t cReadWriteForAll = 0006;

/// A part of the session that participants read and write.
struct Part {
  std::string what;
  std::uint32_t owner = 0;
  std::uint32_t permissions = 0;
  std::int32_t error = 0;
};

void addSegment(const std::optional<SegmentFacts>& segment, std::vector<Part>& parts) {
  if (segment)
    parts.push_back({"the segment " + quoted(segment->name), segment->owner, segment->permissions,
                     segment->error});
}

std::set<std::string> semaphoreNames(const SessionPicture& session) {
  std::set<std::string> names = {session.registrationSemaphore, session.registrationEndedSemaphore,
                                 session.newAudioDataSemaphore, session.registrationLock};
  for (const ClientPicture& client : session.clients)
    if (client.buffer)
      names.insert({client.buffer->mustDisconnectSemaphore, client.buffer->keepAliveSemaphore});
  return names;
}

std::vector<Part> partsOf(const Exam& exam) {
  std::vector<Part> parts;
  for (const SegmentFacts& segment : exam.machine.segments)
    if (LIPC::isSessionWideName(segment.name)) addSegment(segment, parts);
  for (const ClientPicture& client : exam.session.clients)
    for (const auto& segment : client.segments)
      addSegment(segment, parts);
  const std::set<std::string> names = semaphoreNames(exam.session);
  for (const SemaphoreFacts& semaphore : exam.machine.semaphores)
    if (names.count(semaphore.platformName) != 0)
      parts.push_back(
          {"the semaphore " + semaphore.platformName, semaphore.owner, semaphore.permissions, 0});
  const PoolFileFacts& pool = exam.machine.poolFile;
  if (pool.isThere)
    parts.push_back({"the connection pool", pool.owner, pool.permissions, pool.error});
  return parts;
}

std::string modeText(std::uint32_t permissions) {
  std::string text = "0000";
  for (std::size_t i = 3; i > 0; --i, permissions >>= 3)
    text[i] = static_cast<char>('0' + (permissions & 7));
  return text;
}

std::string textOf(const Part& part, const MachineFacts& machine) {
  return part.what + " is of " + userText(part.owner, machine) + ", mode " +
         modeText(part.permissions);
}

/// All who take part, as far as that shows: who looks, and who owns something. Root may do all.
std::set<std::uint32_t> usersOf(const std::vector<Part>& parts, const Exam& exam) {
  std::set<std::uint32_t> users = {exam.machine.userID};
  for (const Part& part : parts)
    if (part.error == 0) users.insert(part.owner);
  users.erase(cRoot);
  return users;
}

bool isClosedTo(const Part& part, const std::set<std::uint32_t>& users) {
  if (part.error != 0) return true;
  if ((part.permissions & cReadWriteForAll) == cReadWriteForAll) return false;
  return std::any_of(users.begin(), users.end(), [&](auto user) { return user != part.owner; });
}

void addKeyFiles(const Exam& exam, std::vector<std::string>& foreign) {
  const auto isOfRow = [&](const std::string& name) {
    const auto& clients = exam.session.clients;
    return LIPC::isSessionWideName(name) ||
           std::any_of(clients.begin(), clients.end(), [&](const ClientPicture& client) {
             return name == client.id || name == client.id + LIPC::cSendSuffix ||
                    name == client.id + LIPC::cReturnSuffix;
           });
  };
  for (const KeyFileFacts& file : exam.machine.keyFiles)
    if (file.owner != exam.machine.userID && isOfRow(file.name))
      foreign.push_back("the key file of " + quoted(file.name) + " is of " +
                        userText(file.owner, exam.machine));
}

}  // namespace

void diagnoseAccess(const Exam& exam, Findings& findings) {
  const std::vector<Part> parts = partsOf(exam);
  const std::set<std::uint32_t> users = usersOf(parts, exam);
  std::vector<std::string> closed;
  std::vector<std::string> foreign;
  for (const Part& part : parts) {
    if (isClosedTo(part, users)) {
      closed.push_back(part.error != 0 ? part.what + ": " + LIPC::systemErrorText(part.error)
                                       : textOf(part, exam.machine));
    } else if (part.owner != exam.machine.userID) {
      foreign.push_back(textOf(part, exam.machine));
    }
  }
  if (exam.session.table || !closed.empty()) addKeyFiles(exam, foreign);
  if (!closed.empty())
    findings.push_back(
        {"access-denied",
         eSeverity::eWrong,
         {},
         "Parts of the session are closed to some of its users.",
         std::move(closed),
         {"Run host and participants under one user, or all of them with umask 0."}});
  if (!foreign.empty())
    findings.push_back({"owner-foreign",
                        eSeverity::eNotice,
                        {},
                        "Parts of the session belong to another user than the one who looks (" +
                            userText(exam.machine.userID, exam.machine) + ").",
                        std::move(foreign),
                        {}});
}

}  // namespace inspect
