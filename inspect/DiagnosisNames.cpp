// SPDX-License-Identifier: BSL-1.0

// Names that fall on one key or on one semaphore.
#include <map>
#include <set>

#include "inspect/DiagnosisParts.h"
#include "lipc/realtime/Semaphore.h"
#include "lipc/session/SegmentNames.h"
#include "lipc/session/SessionNames.h"

namespace inspect {
namespace {

/// The IDs of the session's clients.
std::set<std::string> rowIDs(const SessionPicture& session) {
  std::set<std::string> ids;
  for (const ClientPicture& client : session.clients)
    ids.insert(client.id);
  return ids;
}

std::string keyText(std::int64_t key) {
  constexpr char digits[] = "0123456789abcdef";
  std::string text = "0x00000000";
  for (std::size_t i = text.size() - 1; i > 1; --i, key >>= 4)
    text[i] = digits[key & 15];
  return text;
}

/// Whether a client of the session, or the session itself, goes by that name now.
bool isInUse(const std::string& name, const std::set<std::string>& rows, const Exam& exam) {
  if (LIPC::isSessionWideName(name)) return exam.session.table.has_value();
  return rows.count(LIPC::clientIDOf(name)) != 0;
}

void diagnoseKeys(const Exam& exam, const std::set<std::string>& rows, Findings& findings) {
  std::map<std::int64_t, std::vector<std::string>> names;
  for (const KeyFileFacts& file : exam.machine.keyFiles)
    if (file.key != -1) names[file.key].push_back(file.name);
  for (const auto& [key, same] : names) {
    if (same.size() < 2) continue;
    Finding finding{"key-shared", eSeverity::eNotice, same[0], {}, {}, {}};
    std::string all;
    int inUse = 0;
    for (const std::string& name : same) {
      const bool isUsed = isInUse(name, rows, exam);
      inUse += isUsed ? 1 : 0;
      all += (all.empty() ? "" : " and ") + quoted(name);
      finding.evidence.push_back(quoted(name) + (isUsed ? " is in use" : " is not in use"));
    }
    finding.evidence.push_back("the key of each is " + keyText(key));
    if (inUse > 1) {
      finding.severity = eSeverity::eWrong;
      finding.title = "The names " + all + " have one key: they lead to one segment.";
      finding.todo = {
          "End the client that joined last and start it again: it gets another key. "
          "Where it does not: under another ID."};
    } else {
      finding.title = "The names " + all + " have one key: in use at one time they would collide.";
      finding.todo = {
          "Nothing: a client that joins gives its name another key. Programs of "
          "another make may not: give them another ID."};
    }
    findings.push_back(std::move(finding));
  }
}

/// Full names, by the name that the platform has for them.
using FullNames = std::map<std::string, std::set<std::string>>;

FullNames semaphoreNames(const Exam& exam, const std::set<std::string>& rows) {
  std::set<std::string> ids = rows;
  for (const KeyFileFacts& file : exam.machine.keyFiles)
    if (!LIPC::isSessionWideName(file.name)) ids.insert(LIPC::clientIDOf(file.name));
  FullNames names;
  const auto add = [&](const std::string& full) {
    names[LIPC::Semaphore::platformName(full.c_str())].insert(full);
  };
  for (const std::string& id : ids)
    for (const char* suffix : LIPC::cClientSemaphoreSuffixes)
      add(id + suffix);
  for (const char* suffix : LIPC::cSessionSemaphoreSuffixes)
    add(std::string(LIPC::cSessionSegment) + suffix);
  return names;
}

/// Whether the semaphore is one of the session, or of a client in it.
bool isSemaphoreInUse(const std::string& full, const std::set<std::string>& rows,
                      const Exam& exam) {
  for (const std::string suffix : LIPC::cClientSemaphoreSuffixes)
    if (full.ends_with(suffix)) return rows.count(full.substr(0, full.size() - suffix.size())) != 0;
  return exam.session.table.has_value();
}

void diagnoseSemaphoreNames(const Exam& exam, const std::set<std::string>& rows,
                            Findings& findings) {
  for (const auto& [platformName, same] : semaphoreNames(exam, rows)) {
    if (same.size() < 2) continue;
    Finding finding{"semaphore-shared", eSeverity::eNotice, platformName, {}, {}, {}};
    std::string all;
    int inUse = 0;
    for (const std::string& full : same) {
      const bool isUsed = isSemaphoreInUse(full, rows, exam);
      inUse += isUsed ? 1 : 0;
      all += (all.empty() ? "" : " and ") + quoted(full);
      finding.evidence.push_back(quoted(full) + (isUsed ? " is in use" : " is not in use"));
    }
    finding.evidence.push_back("the system's name of each is " + platformName +
                               ": a checksum, and characters 8 to 28");
    finding.todo = {"Give one of them an ID that differs within its characters 8 to 28."};
    if (inUse > 1) finding.severity = eSeverity::eWrong;
    finding.title = "The semaphores " + all +
                    (inUse > 1 ? " are one: who means the one wakes, or takes away, the other."
                               : " have one name: in use at one time they would be one.");
    findings.push_back(std::move(finding));
  }
}

}  // namespace

void diagnoseNames(const Exam& exam, Findings& findings) {
  const std::size_t before = findings.size();
  const std::set<std::string> rows = rowIDs(exam.session);
  diagnoseKeys(exam, rows, findings);
  diagnoseSemaphoreNames(exam, rows, findings);
  if (findings.size() == before)
    findings.push_back({"names",
                        eSeverity::eFine,
                        {},
                        "No two names fall on one key or on one semaphore.",
                        {countText(exam.machine.keyFiles.size(), "key file")},
                        {}});
}

}  // namespace inspect
