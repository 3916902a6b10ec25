// SPDX-License-Identifier: BSL-1.0
#include "tools/Findings.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <sstream>
#include <thread>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "inspect/Evidence.h"
#include "lipc/session/ShmManaged.h"
#include "tools/CommandName.h"
#include "tools/ProgressLine.h"
#include "tools/Text.h"

namespace tools {
namespace {

using inspect::eSeverity;
using inspect::Finding;
using inspect::Leftover;

constexpr std::size_t cColumns = 80;
/// Evidence beyond that is counted; --json has all of it.
constexpr std::size_t cMostLines = 12;
/// As wide as the severities are written.
const std::string cIndent(8, ' ');

/// Another reader has a segment attached while it looks, and may be taken for its owner: by then it
/// has let go, and the system is asked anew who has it.
constexpr std::chrono::milliseconds cReadersGone(1100);
constexpr int cMostLooks = 2;

bool isAnybodyHeld(const inspect::Exam& exam) {
  if (!exam.watched) return false;
  const inspect::SessionPicture& session = exam.session;
  const auto isHeld = [&](const inspect::ClientPicture& client) {
    return judgeClient(client, session, *exam.watched).verdict == inspect::eVerdict::eHeld;
  };
  return judgeHost(session, *exam.watched).verdict == inspect::eVerdict::eHeld ||
         std::any_of(session.clients.begin(), session.clients.end(), isHeld);
}

/// Those that were leftovers before, too: a client that joins has not attached what it makes for a
/// moment.
std::vector<Leftover> still(const std::vector<Leftover>& before, std::vector<Leftover> now) {
  std::erase_if(now, [&](const Leftover& leftover) {
    return std::find(before.begin(), before.end(), leftover) == before.end();
  });
  return now;
}

std::string severityText(eSeverity severity) {
  return severity == eSeverity::eWrong    ? "wrong"
         : severity == eSeverity::eNotice ? "notice"
                                          : "fine";
}

std::string coloured(eSeverity severity, const std::string& text) {
  const char* colour = severity == eSeverity::eWrong    ? "1;31"
                       : severity == eSeverity::eNotice ? "33"
                                                        : "32";
  return fmt::format("\x1b[{}m{}\x1b[0m", colour, text);
}

/// Sentences begin with a capital letter.
bool isCommand(const std::string& todo) {
  return !todo.empty() && std::islower(static_cast<unsigned char>(todo[0])) != 0;
}

/// Paths and commands stay on one line, to be copied.
std::string inFull(const std::string& first, const std::string& text, bool isOneLine) {
  return isOneLine ? first + printable(text) + "\n" : wrapped(first, text);
}

}  // namespace

inspect::Exam examine(inspect::Source& source, bool isQuick) {
  inspect::Exam exam;
  std::vector<Leftover> before;
  if (source.isLive()) before = leftoversIn(source.machine());
  const bool isSession = source.find(LIPC::cSessionSegment).has_value();
  if (!isSession) {
    exam.watched.emplace();  // nothing is to be watched
    if (source.isLive()) std::this_thread::sleep_for(2 * LIPC::ShmManaged::cOwnRemovalTime);
  } else if (!isQuick) {
    ProgressLine line;
    exam.watched = source.watch(inspect::cFullWatch, watchProgress(line));
  }
  const inspect::ReadOptions options{.watchHeartbeatMS = isQuick ? 300 : 0,
                                     .withRings = true,
                                     .withUsers = true,
                                     .withSettings = true};
  exam.session = readSession(source, options);
  for (int look = 0; look < cMostLooks && source.isLive() && isAnybodyHeld(exam); ++look) {
    std::this_thread::sleep_for(cReadersGone);
    exam.session = readSession(source, options);
  }
  exam.machine = source.machine();
  exam.leftovers = leftoversIn(exam.machine);
  if (source.isLive()) exam.leftovers = still(before, std::move(exam.leftovers));
  return exam;
}

std::string wrapped(const std::string& first, const std::string& text) {
  std::istringstream words(printable(text));
  const std::string indent(first.size(), ' ');
  std::string all;
  std::string line = first;
  bool isEmpty = true;
  for (std::string word; words >> word; isEmpty = false) {
    if (!isEmpty && line.size() + 1 + word.size() > cColumns) {
      all += line + "\n";
      line = indent;
      isEmpty = true;
    }
    line += (isEmpty ? "" : " ") + word;
  }
  return all + line + "\n";
}

std::string findingText(const Finding& finding, bool hasColours) {
  const std::string severity = severityText(finding.severity);
  std::string text =
      wrapped(fmt::format("{:8}", severity), finding.title + " [" + finding.key + "]");
  if (hasColours) text = coloured(finding.severity, severity) + text.substr(severity.size());
  std::size_t lines = 0;
  for (const std::string& evidence : finding.evidence) {
    if (++lines > cMostLines) break;
    text += inFull(cIndent + "- ", evidence, evidence.starts_with('/'));
  }
  if (finding.evidence.size() > cMostLines)
    text += cIndent +
            fmt::format("- and {} more (--json has all)\n", finding.evidence.size() - cMostLines);
  for (const std::string& todo : finding.todo)
    text += inFull(cIndent + "do: ", asCalled(todo), isCommand(todo));
  return text;
}

nlohmann::ordered_json findingJson(const Finding& finding) {
  return {{"key", finding.key},           {"severity", severityText(finding.severity)},
          {"subject", finding.subject},   {"title", finding.title},
          {"evidence", finding.evidence}, {"todo", finding.todo}};
}

bool wantsColours() {
  const char* noColour = std::getenv("NO_COLOR");
  return isatty(STDOUT_FILENO) != 0 && (noColour == nullptr || *noColour == '\0');
}

}  // namespace tools
