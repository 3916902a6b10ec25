// SPDX-License-Identifier: BSL-1.0

// What is dead, and of whom.
#include <algorithm>

#include "inspect/Evidence.h"
#include "lipc/session/SessionNames.h"
#include "tools/Failure.h"
#include "tools/Reaper.h"

namespace tools {
namespace {

using inspect::eVerdict;
using inspect::Exam;
using inspect::Leftover;
using inspect::SessionPicture;
using eAction = Verdict::eAction;

const char* verdictText(eVerdict verdict) {
  switch (verdict) {
    case eVerdict::eAlive:
      return "alive";
    case eVerdict::eHeld:
      return "held";
    case eVerdict::eDead:
      return "dead";
    case eVerdict::eUnknown:
      break;
  }
  return "unknown";
}

class Planner {
 public:
  explicit Planner(const Exam& exam) : mExam(exam) {}

  ReapPlan plan() {
    if (mExam.session.table) {
      planSession();
    } else {
      planParts();
    }
    for (const inspect::ClientPicture& client : mExam.session.clients)
      planClient(client);
    for (const Leftover& leftover : mExam.leftovers)
      planLeftover(leftover);
    std::stable_sort(mPlan.verdicts.begin(), mPlan.verdicts.end(),
                     [](const Verdict& a, const Verdict& b) { return a.action < b.action; });
    return std::move(mPlan);
  }

 private:
  bool isMine(std::uint32_t owner) const {
    return mExam.machine.userID == 0 || owner == mExam.machine.userID;
  }
  eAction removal(std::uint32_t owner) const {
    return isMine(owner) ? eAction::eRemove : eAction::eOtherUser;
  }

  void add(const char* what, const std::string& name, const char* verdict, eAction action,
           std::string title, std::vector<std::string> evidence, std::uint32_t owner) {
    if (action == eAction::eOtherUser)
      evidence.push_back(
          fmt::format("it is of user {}; do: {}", owner, inspect::asUser(owner, "lipc reap")));
    mPlan.verdicts.push_back({what, name, verdict, action, std::move(title), std::move(evidence)});
  }

  void planSession() {
    const SessionPicture& session = mExam.session;
    inspect::Judgement host = judgeHost(session, *mExam.watched);
    const bool isReadable = session.state == SessionPicture::eRead;
    // Of another version, a heartbeat may stand elsewhere; written over, it says nothing.
    const bool isUnclear =
        session.state == SessionPicture::eForeign || session.state == SessionPicture::eOverwritten;
    const bool isDead = host.verdict == eVerdict::eDead &&
                        (isReadable || (isUnclear && !session.table->isAttached()));
    mCanLock = isReadable || isDead;
    if (!mCanLock) host.evidence.emplace_back("it cannot be read: lipc doctor says why");
    mPlan.isSessionDead = isDead && isMine(session.table->owner);
    add("session", LIPC::cSessionSegment,
        isDead       ? "dead"
        : isReadable ? verdictText(host.verdict)
                     : "unknown",
        isDead ? removal(session.table->owner) : eAction::eKeep,
        isDead ? "The session's host is dead: the session's segments and its connection pool go."
               : "The session stays.",
        std::move(host.evidence), session.table->owner);
  }

  /// Of a host that died before it had made its table. One that starts has the hosts' lock.
  void planParts() {
    std::vector<std::string> evidence;
    bool isHeld = false;
    std::uint32_t owner = mExam.machine.userID;
    for (const inspect::SegmentFacts& segment : mExam.machine.segments) {
      if (!LIPC::isSessionWideName(segment.name)) continue;
      isHeld = isHeld || segment.isAttached() || segment.error != 0 || segment.creator.lives;
      owner = segment.owner;
      evidence.push_back(fmt::format("\"{}\" is attached {} times and was made by {}", segment.name,
                                     segment.attachCount, processText(segment.creator)));
    }
    const inspect::PoolFileFacts& pool = mExam.machine.poolFile;
    if (pool.isThere) {
      evidence.emplace_back("there is a connection pool");
      if (pool.error == 0) owner = pool.owner;
    }
    if (evidence.empty()) return;
    evidence.emplace_back("there is no session table");
    mPlan.isSessionDead = !isHeld && isMine(owner);
    add("session", LIPC::cSessionSegment, isHeld ? "held" : "dead",
        isHeld ? eAction::eKeep : removal(owner), "Parts of a session are left without its table.",
        std::move(evidence), owner);
  }

  void planClient(const inspect::ClientPicture& client) {
    inspect::Judgement judgement = judgeClient(client, mExam.session, *mExam.watched);
    const std::string name = fmt::format("The client \"{}\"", client.id);
    const std::uint32_t owner =
        client.segments[0] ? client.segments[0]->owner : mExam.machine.userID;
    eAction action = eAction::eKeep;
    std::string title;
    switch (judgement.verdict) {
      case eVerdict::eDead:
        action = removal(owner);
        title = client.segments[0]
                    ? name + " is dead: its row, segments, semaphores and connections go."
                    : fmt::format("The row of \"{}\" is nobody's: it goes.", client.id);
        break;
      case eVerdict::eHeld:
        title = name + " stands still, and its process is there: it is left alone.";
        break;
      case eVerdict::eAlive:
        title = name + " lives.";
        break;
      case eVerdict::eUnknown:
        title = name + " cannot be judged: it is left alone.";
        break;
    }
    if (action == eAction::eRemove && !mPlan.isSessionDead) mPlan.clients.push_back(client);
    add("client", client.id, verdictText(judgement.verdict), action, std::move(title),
        std::move(judgement.evidence), owner);
  }

  /// What a row's client has goes with the row.
  void planLeftover(const Leftover& leftover) {
    if (mExam.session.find(leftover.clientID) != nullptr) return;
    const char* what = leftover.kind == Leftover::eSegment     ? "segment"
                       : leftover.kind == Leftover::eSemaphore ? "semaphore"
                                                               : "key file";
    const bool isRemoved = mCanLock && (isMine(leftover.owner) || !leftover.isThere);
    if (isRemoved) mPlan.leftovers.push_back(leftover);
    if (!leftover.isThere) return;  // where it is not known it is not counted
    std::vector<std::string> evidence = {leftover.evidence};
    if (!mCanLock)
      evidence.emplace_back(
          "it stays: clients of a session that cannot be read cannot be kept out");
    add(what, leftover.name, "dead", mCanLock ? removal(leftover.owner) : eAction::eKeep,
        fmt::format("The {} {} is nobody's.", what, leftover.name), std::move(evidence),
        leftover.owner);
  }

  const Exam& mExam;
  ReapPlan mPlan;
  bool mCanLock = true;  // joins can be kept out meanwhile
};

}  // namespace

long ReapPlan::count(Verdict::eAction action) const {
  return std::count_if(verdicts.begin(), verdicts.end(),
                       [&](const Verdict& verdict) { return verdict.action == action; });
}

ReapPlan planReap(const Exam& exam) {
  return Planner(exam).plan();
}

}  // namespace tools
