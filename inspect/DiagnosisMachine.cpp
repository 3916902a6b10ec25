// SPDX-License-Identifier: BSL-1.0

// The machine: clock, folders, settings files, and what dead processes left.
#include <algorithm>
#include <cstring>
#include <set>

#include "inspect/DiagnosisParts.h"
#include "lipc/util/SystemError.h"

namespace inspect {
namespace {

/// Stamps are whole seconds, written while the session is read.
constexpr std::int64_t cClockSlackSeconds = 2;
/// A connection pool, and what the semaphores of some clients take.
constexpr std::uint64_t cPoolBytes = std::uint64_t{4} * 1024 * 1024;
constexpr std::uint64_t cSmallFilesBytes = std::uint64_t{64} * 1024;

void diagnoseClock(const Exam& exam, Findings& findings) {
  std::vector<std::string> ahead;
  for (const ClientPicture& client : exam.session.clients) {
    const auto age = client.stampAgeSeconds();
    if (age && *age < -cClockSlackSeconds)
      ahead.push_back("the stamp of " + quoted(client.id) + " (" + client.buffer->stamp +
                      " UTC) lies " + std::to_string(-*age) + " s ahead of the clock");
  }
  for (const SemaphoreFacts& semaphore : exam.machine.semaphores)
    if (semaphore.ageSeconds < -cClockSlackSeconds)
      ahead.push_back("the semaphore " + semaphore.platformName + " was made in " +
                      std::to_string(-semaphore.ageSeconds) + " s");
  for (const KeyFileFacts& file : exam.machine.keyFiles)
    if (file.modified > exam.machine.time + cClockSlackSeconds)
      ahead.push_back("the key file of " + quoted(file.name) + " was written in " +
                      std::to_string(file.modified - exam.machine.time) + " s");
  if (ahead.empty()) {
    findings.push_back(
        {"clock", eSeverity::eFine, {}, "No stamp lies ahead of the clock.", {}, {}});
    return;
  }
  findings.push_back(
      {"clock-behind",
       eSeverity::eWrong,
       {},
       "The clock stands before what was stamped by it: it was set back.",
       std::move(ahead),
       {"Set the clock right. Until it has caught up, a client that dies counts as fresh to a "
        "client of the same ID that joins; the host and this command go by what they watch."}});
}

void diagnoseFolder(const FolderFacts& folder, bool isPoolThere, Findings& findings) {
  const auto add = [&](const char* key, const std::string& title, std::string evidence,
                       std::string todo) {
    findings.push_back({key,
                        eSeverity::eWrong,
                        folder.path,
                        "The folder " + folder.path + " " + title,
                        {std::move(evidence)},
                        {std::move(todo)}});
  };
  const bool isForKeyFiles = folder.path == "/tmp";
  const std::string what = isForKeyFiles ? "key files" : "semaphores and the connection pool";
  if (folder.error != 0) {
    add("folder-missing", "cannot be used for " + what + ".", LIPC::systemErrorText(folder.error),
        "Make it, or mount it: for everybody to write, with the sticky bit (mode 1777).");
    return;
  }
  if (!folder.isWritable)
    add("folder-not-writable", "cannot be written: " + what + " cannot be made.",
        "this user may not make files in it", "sudo chmod 1777 " + folder.path);
  const std::uint64_t needed =
      isForKeyFiles || isPoolThere ? cSmallFilesBytes : cSmallFilesBytes + cPoolBytes;
  if (folder.bytes != 0 && folder.bytesFree < needed)
    add("folder-full", "is full: " + what + " find no room.",
        std::to_string(folder.bytesFree) + " bytes of " + std::to_string(folder.bytes) +
            " are free, " + std::to_string(needed) + " are needed",
        "Make room in it. What is large: du -a " + folder.path + " | sort -n | tail");
}

void diagnoseFolders(const Exam& exam, Findings& findings) {
  const std::size_t before = findings.size();
  std::vector<std::string> evidence;
  for (const FolderFacts& folder : exam.machine.folders) {
    diagnoseFolder(folder, exam.machine.poolFile.isThere, findings);
    evidence.push_back(folder.path + ": " + std::to_string(folder.bytesFree / 1024) +
                       " KiB are free");
  }
  if (findings.size() == before)
    findings.push_back({"folders",
                        eSeverity::eFine,
                        {},
                        "Files of a session can be made where they belong.",
                        std::move(evidence),
                        {}});
}

void diagnoseSettingsFile(const SettingsFileFacts& file, const std::string& what, const Exam& exam,
                          Findings& findings) {
  const std::string owner = "it belongs to " + userText(file.owner, exam.machine);
  const auto add = [&](const char* key, eSeverity severity, const std::string& title,
                       std::vector<std::string> evidence, std::vector<std::string> todo) {
    evidence.insert(evidence.begin(), file.path);
    if (const std::string& named = exam.machine.settings.lastUserFile; !named.empty())
      evidence.push_back("the user whose numbers count is named in " + named);
    findings.push_back({key, severity, file.path, "The settings file of " + what + " " + title,
                        std::move(evidence), std::move(todo)});
  };
  const std::string defaults = "A settings client publishes the defaults meanwhile.";
  switch (file.state) {
    case SettingsFileFacts::eMissing:
      add("settings-missing", eSeverity::eNotice, "is missing: the defaults apply.", {}, {});
      break;
    case SettingsFileFacts::eUnreadable:
      add("settings-unreadable", eSeverity::eWrong, "cannot be read.",
          {LIPC::systemErrorText(file.error)},
          {"Let the user who runs the settings client read it. " + defaults});
      break;
    case SettingsFileFacts::eMalformed:
      add("settings-malformed", eSeverity::eWrong, "is malformed.",
          {owner, "it is no well-formed settings file, or too large for one"},
          {"Save the settings again in the program that writes them, or move the file away. " +
           defaults});
      break;
    case SettingsFileFacts::eRead:
      add("settings", eSeverity::eFine, "can be read.",
          {owner, countText(file.values.size(), "key")}, {});
      break;
  }
}

void diagnoseSettings(const Exam& exam, Findings& findings) {
  const SettingsFacts& settings = exam.machine.settings;
  const bool isOne = settings.texts.path == settings.numbers.path;
  if (settings.numbers.path.empty()) return;
  diagnoseSettingsFile(
      settings.numbers,
      isOne ? userText(exam.machine.userID, exam.machine) : "the last user, for the numbers,", exam,
      findings);
  if (!isOne)
    diagnoseSettingsFile(settings.texts,
                         userText(exam.machine.userID, exam.machine) + ", for the facility,", exam,
                         findings);
}

struct LeftoverText {
  Leftover::eKind kind;
  const char* key;
  eSeverity severity;
  const char* thing;
  const char* meaning;
};

constexpr LeftoverText cLeftoverTexts[] = {
    {Leftover::eSegment, "leftover-segments", eSeverity::eWrong, "segment",
     " of dead clients: they take shared memory from the living."},
    {Leftover::eSemaphore, "leftover-semaphores", eSeverity::eNotice, "semaphore",
     " of dead clients."},
    {Leftover::eKeyFile, "leftover-key-files", eSeverity::eFine, "key file",
     " of earlier clients: harmless."},
};

}  // namespace

void diagnoseMachine(const Exam& exam, Findings& findings) {
  diagnoseClock(exam, findings);
  diagnoseFolders(exam, findings);
  diagnoseSettings(exam, findings);
}

/// What a row's dead client has is told with it.
void diagnoseLeftovers(const Exam& exam, Findings& findings) {
  for (const LeftoverText& text : cLeftoverTexts) {
    std::vector<std::string> evidence;
    std::set<std::string> commands;  // by owner
    for (const Leftover& leftover : exam.leftovers) {
      if (leftover.kind != text.kind || exam.session.find(leftover.clientID) != nullptr) continue;
      if (!leftover.isThere) continue;
      evidence.push_back(leftover.name + " of " + userText(leftover.owner, exam.machine) + ": " +
                         leftover.evidence);
      const bool isMine = exam.machine.userID == 0 || leftover.owner == exam.machine.userID;
      commands.insert(isMine ? "lipc reap" : asUser(leftover.owner, "lipc reap"));
    }
    if (evidence.empty()) continue;
    findings.push_back({text.key,
                        text.severity,
                        {},
                        std::string(evidence.size() == 1 ? "There is " : "There are ") +
                            countText(evidence.size(), text.thing) + text.meaning,
                        evidence,
                        {commands.begin(), commands.end()}});
  }
}

}  // namespace inspect
