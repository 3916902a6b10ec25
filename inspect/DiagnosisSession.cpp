// SPDX-License-Identifier: BSL-1.0

// The session as a whole: its table, its host, the registration lock, the connection pool.
#include <algorithm>
#include <array>

#include "inspect/DiagnosisParts.h"
#include "inspect/Evidence.h"
#include "lipc/session/SessionBuffer.h"

namespace inspect {
namespace {

std::string versionText(std::uint32_t version, std::uint32_t bits) {
  return "protocol " + std::to_string(version) + " with " + std::to_string(bits) + " bits";
}

/// What a host left that died before it had made the table, or after it had removed it.
void diagnoseNoTable(const Exam& exam, Findings& findings) {
  std::vector<std::string> parts;
  for (const SegmentFacts& segment : exam.machine.segments) {
    if (LIPC::isSessionWideName(segment.name))
      parts.push_back("the segment " + quoted(segment.name) + " is attached " +
                      countText(segment.attachCount, "time") + " and was made by " +
                      processText(segment.creator));
  }
  if (exam.machine.poolFile.isThere) parts.emplace_back("there is a connection pool");
  if (parts.empty()) {
    findings.push_back({"session-none", eSeverity::eFine, {}, "There is no session.", {}, {}});
    return;
  }
  parts.emplace_back("there is no session table");
  findings.push_back({"session-parts",
                      eSeverity::eWrong,
                      {},
                      "Parts of a session are left without its table.",
                      std::move(parts),
                      {"lipc reap", "Or start a host, which removes them too."}});
}

void diagnoseState(const Exam& exam, Findings& findings) {
  const SessionPicture& session = exam.session;
  const auto add = [&](const char* key, std::string title, std::string evidence, std::string todo) {
    findings.push_back(
        {key, eSeverity::eWrong, {}, std::move(title), {std::move(evidence)}, {std::move(todo)}});
  };
  switch (session.state) {
    case SessionPicture::eRead:
      return;
    case SessionPicture::eNone:
      return diagnoseNoTable(exam, findings);
    case SessionPicture::eNoPermission:
      return add("session-unreadable", "This user may not read the session.",
                 "the system lets this user know nothing of its table",
                 "Run host and participants under one user, or run lipc as that user.");
    case SessionPicture::eTooSmall:
      return add("session-too-small", "What goes by the session's name is no session.",
                 "its segment " + std::to_string(session.table->id) + " has " +
                     std::to_string(session.table->bytes) + " bytes, a table has " +
                     std::to_string(sizeof(LIPC::SessionBuffer)) + "; it was made by " +
                     processText(session.table->creator),
                 "ipcrm -m " + std::to_string(session.table->id));
    case SessionPicture::eOverwritten:
      return add("table-damaged", "The session's table is damaged.",
                 "all of its " + std::to_string(LIPC::cMaxClients) +
                     " rows have the same ID: somebody wrote over it",
                 "End what runs in the session, and start its host anew.");
    case SessionPicture::eForeign:
      return add("session-foreign", "The session's host is of another version or width.",
                 "it has " + versionText(session.protocolVersion, session.pointerWidthBits) +
                     ", and this lipc " +
                     versionText(LIPC::cProtocolVersion, LIPC::cPointerWidthBits) +
                     ": participants of one do not join the other",
                 "Use host and participants of one version. It was made by " +
                     processText(session.table->creator) + ".");
  }
}

Finding aliveHost(const SessionPicture& session, std::vector<std::string> evidence) {
  evidence.push_back("the table was made by " + processText(session.table->creator));
  return {"host-alive", eSeverity::eFine, {}, "The host lives.", std::move(evidence), {}};
}

/// Without a watch, a heartbeat that advanced in the short look tells that it lives.
void diagnoseHost(const Exam& exam, Findings& findings) {
  const SessionPicture& session = exam.session;
  if (!exam.watched) {
    if (session.isBeating) findings.push_back(aliveHost(session, {"its heartbeat advances"}));
    return;
  }
  Judgement host = judgeHost(session, *exam.watched);
  const std::string process = std::to_string(session.table->creator.id);
  switch (host.verdict) {
    case eVerdict::eAlive:
      findings.push_back(aliveHost(session, std::move(host.evidence)));
      break;
    case eVerdict::eDead:
      findings.push_back({"host-dead",
                          eSeverity::eWrong,
                          {},
                          "The session's host is dead.",
                          std::move(host.evidence),
                          {"lipc host",
                           "Any host will do: it takes the session's place, and the clients come "
                           "over. To remove the session alone: lipc reap"}});
      break;
    case eVerdict::eHeld:
      findings.push_back(
          {"host-held",
           eSeverity::eWrong,
           {},
           session.table->creator.isStopped ? "The session's host is stopped."
                                            : "The session's host stands still, and its process "
                                              "lives.",
           std::move(host.evidence),
           session.table->creator.isStopped
               ? std::vector<std::string>{"kill -CONT " + process,
                                          "That lets it go on, as fg in its terminal does."}
               : std::vector<std::string>{"kill " + process,
                                          "That ends it. Look at it before: it may be in a "
                                          "debugger, or hang."}});
      break;
    case eVerdict::eUnknown:
      findings.push_back({"host-unknown",
                          eSeverity::eNotice,
                          {},
                          "Whether the session's host lives cannot be told.",
                          std::move(host.evidence),
                          {}});
      break;
  }
  if (exam.watched->heartbeatsBack > 0)
    findings.push_back(
        {"heartbeat-back",
         eSeverity::eWrong,
         {},
         "The host's heartbeat goes back, which costs every client its session.",
         {"it went back " +
          countText(static_cast<std::uint64_t>(exam.watched->heartbeatsBack), "time") +
          " while it was watched"},
         {"Two hosts may write to one table, or one was started anew just now: look "
          "with lipc ls."}});
}

void diagnoseLock(const Exam& exam, Findings& findings) {
  if (!exam.watched || !exam.watched->lockCount) return;
  const SessionPicture& session = exam.session;
  std::string last = "no request was ever made";
  if (!session.lastRequest.empty())
    last = "the last one that asked the host was " + quoted(session.lastRequest) +
           (session.isLastRequestJoin ? ", to join" : ", to leave") +
           (session.find(session.lastRequest) != nullptr ? "; it has a row" : "; it has no row");
  const std::int32_t count = *exam.watched->lockCount;
  if (exam.watched->isLockStuck) {
    findings.push_back(
        {"lock-stuck",
         eSeverity::eWrong,
         {},
         "The registration lock is held, and nobody is in it: no client can join.",
         {"it was held, without a request, for longer than any join takes", std::move(last),
          "a client dies with it when it is killed in a join or leave"},
         {"A lipc host gives it back after 5 s, unless it was started with --hold-lock or "
          "--silent. Any other host: start it anew."}});
  } else if (count > 1) {
    findings.push_back(
        {"lock-count",
         eSeverity::eNotice,
         {},
         "The registration lock lets " + std::to_string(count) +
             " in at one time: joins may spoil each other.",
         {"its count is " + std::to_string(count) + " and should be 1", std::move(last)},
         {"A lipc host sets it right with the next join or leave."}});
  } else {
    findings.push_back({"lock",
                        eSeverity::eFine,
                        {},
                        count == 1 ? "The registration lock is free."
                                   : "The registration lock is held, for a moment so far.",
                        {"its count is " + std::to_string(count), std::move(last)},
                        {}});
  }
}

void diagnosePool(const Exam& exam, Findings& findings) {
  const SessionPicture& session = exam.session;
  if (session.connections) {
    findings.push_back({"pool",
                        eSeverity::eFine,
                        {},
                        "The connection pool is whole.",
                        {countText(session.connections->size(), "connection")},
                        {}});
    return;
  }
  const bool isThere = exam.machine.poolFile.isThere;
  const char* key = session.isPoolDamaged ? "pool-damaged"
                    : isThere             ? "pool-unreadable"
                                          : "pool-missing";
  const char* title = session.isPoolDamaged ? "The connection pool is damaged."
                      : isThere             ? "The connection pool cannot be read."
                                            : "The connection pool is missing.";
  findings.push_back({key,
                      eSeverity::eWrong,
                      {},
                      std::string(title) + " No client joins before there is another.",
                      {session.poolError},
                      {"A lipc host makes a new one when a client joins or leaves. Any other host: "
                       "start it anew."}});
}

void diagnoseSemaphores(const Exam& exam, Findings& findings) {
  const SessionPicture& session = exam.session;
  const std::array<std::pair<const char*, const std::string*>, 4> records = {{
      {"registration", &session.registrationSemaphore},
      {"registration ended", &session.registrationEndedSemaphore},
      {"new audio data", &session.newAudioDataSemaphore},
      {"registration lock", &session.registrationLock},
  }};
  std::vector<std::string> missing;
  for (const auto& [what, name] : records) {
    const auto& all = exam.machine.semaphores;
    const bool isThere = std::any_of(all.begin(), all.end(), [&, wanted = name](const auto& each) {
      return each.platformName == *wanted;
    });
    if (name->empty()) {
      missing.push_back(std::string("the table's record of \"") + what + "\" is malformed");
    } else if (exam.machine.areSemaphoresListed && !isThere) {
      missing.push_back(quoted(what) + ": there is no semaphore " + *name);
    }
  }
  if (missing.empty()) return;
  findings.push_back({"session-semaphores",
                      eSeverity::eWrong,
                      {},
                      "Semaphores of the session are missing: its host does not hear its clients.",
                      std::move(missing),
                      {"Start the host anew."}});
}

}  // namespace

void diagnoseSession(const Exam& exam, Findings& findings) {
  const SessionPicture& session = exam.session;
  diagnoseState(exam, findings);
  if (!session.table || session.state == SessionPicture::eTooSmall) return;
  diagnoseHost(exam, findings);
  if (session.state != SessionPicture::eRead) return;
  if (session.protocolVersion == 0)
    findings.push_back({"version-missing",
                        eSeverity::eWrong,
                        {},
                        "The session has no version record: no client joins.",
                        {"there is no segment \"LIPC_VERSION\", or none that can be read"},
                        {"Start the host anew, unless it is just starting or stopping."}});
  if (session.forbidsJoins)
    findings.push_back({"joins-forbidden",
                        eSeverity::eNotice,
                        {},
                        "The session forbids joins.",
                        {"there is a segment \"LIPC_SESSION_NOCONNECT\": the host stops, died "
                         "while it stopped, or was started with --no-connect"},
                        {"Nothing while a host stops; else start it anew."}});
  if (session.clients.size() >= static_cast<std::size_t>(LIPC::cMaxClients))
    findings.push_back({"table-full",
                        eSeverity::eWrong,
                        {},
                        "The table is full: no client joins.",
                        {"all " + std::to_string(LIPC::cMaxClients) + " rows are taken"},
                        {"End clients that are not needed; lipc reap frees the rows of dead "
                         "ones."}});
  diagnoseLock(exam, findings);
  diagnosePool(exam, findings);
  diagnoseSemaphores(exam, findings);
}

}  // namespace inspect
