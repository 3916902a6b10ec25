// SPDX-License-Identifier: BSL-1.0
#include "tools/Reaper.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <thread>

#include "host/DeadSession.h"
#include "host/Leftovers.h"
#include "inspect/Evidence.h"
#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/session/ConnectionPool.h"
#include "lipc/session/Remains.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/session/ShmManaged.h"
#include "lipc/util/SystemError.h"
#include "tools/Failure.h"
#include "tools/Look.h"

namespace tools {
namespace {

using inspect::ClientPicture;
using inspect::Exam;
using inspect::SessionPicture;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// A host gives back a lock that nobody is in after 5 seconds.
constexpr milliseconds cLockDeadline(7000);
/// As long as a client that leaves waits for its host's answer.
constexpr milliseconds cAnswerDeadline(1500);
/// A host makes all of its session within that.
constexpr milliseconds cBeginning(1000);

/// By the clock that nobody sets. False when there was none to take in time.
bool takeWithin(LIPC::SemaphoreHandle& semaphore, milliseconds deadline) {
  const auto end = steady_clock::now() + deadline;
  while (!semaphore.try_wait()) {
    if (steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(cLook);
  }
  return true;
}

/// Keeps the signals that would end or stop this process waiting until the scope's end.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal :
         {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGPIPE, SIGALRM, SIGUSR1, SIGUSR2})
      sigaddset(&held, signal);
    pthread_sigmask(SIG_BLOCK, &held, &mBefore);
  }
  ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

 private:
  sigset_t mBefore{};
};

/// The living session's table, and its semaphores as a client has them.
class Session {
 public:
  Session() : mTable(LIPC::cSessionSegment) {
    if (mTable.get() == nullptr)
      throw Failure(mTable.error() == EACCES ? eExitNoPermission : eExitNotDone,
                    "the session's table cannot be had for writing: {}. Run lipc as its owner.",
                    LIPC::systemErrorText(mTable.error()));
    mLock.emplace(table().clientsCanRegisterMutex);
    mRegistration.emplace(table().registrationSemaphore);
    mEnded.emplace(table().registrationEndedSemaphore);
    for (const auto* handle : {&*mLock, &*mRegistration, &*mEnded})
      if (!handle->isOpen())
        throw Failure(handle->error() == EACCES ? eExitNoPermission : eExitNotDone,
                      "a semaphore of the session cannot be opened: {}. See what is wrong with: "
                      "lipc doctor",
                      handle->error() != 0 ? LIPC::systemErrorText(handle->error())
                                           : "its record is malformed");
  }

  LIPC::SessionBuffer& table() const { return *mTable.get(); }
  LIPC::SemaphoreHandle& lock() { return *mLock; }

  /// Has the host take the client out as if it left; with the lock held. Returns whether the lock
  /// is still held: a host that took the request gives it back.
  bool askHostToTakeOut(const LIPC::ClientID& id) {
    table().writeRequest(id, LIPC::SessionBuffer::cLeaveRequest);
    mEnded->clear();
    mRegistration->post();
    if (takeWithin(*mEnded, cAnswerDeadline)) return false;
    return mRegistration->try_wait();  // nobody took it: it is taken back
  }

 private:
  LIPC::ShmManagedOpen<LIPC::SessionBuffer> mTable;
  std::optional<LIPC::SemaphoreHandle> mLock, mRegistration, mEnded;
};

/// The registration lock, while this process has it. No signal that can be held up ends or stops
/// the process meanwhile.
class Registration {
 public:
  explicit Registration(Session& session) : mSession(session) {
    if (!takeWithin(session.lock(), cLockDeadline))
      throw Failure(eExitNotDone,
                    "the registration lock was not free within {} seconds, and without it nothing "
                    "may be removed. See who holds it with: lipc doctor",
                    cLockDeadline.count() / 1000);
  }
  ~Registration() {
    if (mIsHeld) mSession.lock().post();
  }
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;

  void askHostToTakeOut(const LIPC::ClientID& id) { mIsHeld = mSession.askHostToTakeOut(id); }
  bool isHeld() const { return mIsHeld; }

 private:
  const SignalsHeld mSignals;  // from before the lock until after it
  Session& mSession;
  bool mIsHeld = true;
};

/// Whether it is the client that was seen before, and nobody who came back under its ID.
bool isSame(const ClientPicture& before, const ClientPicture& now) {
  const auto segment = [](const ClientPicture& client) {
    return client.segments[0] ? client.segments[0]->id : -1;
  };
  const auto stamp = [](const ClientPicture& client) {
    return client.buffer ? client.buffer->stamp : std::string();
  };
  return segment(before) == segment(now) && stamp(before) == stamp(now);
}

class Reaper {
 public:
  Reaper(const Exam& exam, inspect::Source& source) : mExam(exam), mSource(source) {}

  void reapClient(const ClientPicture& client) {
    const LIPC::ClientID id(client.id);
    const bool isHostAlive = mExam.watched->isBeating();
    bool wasAsked = false;
    if (isHostAlive) {
      Registration registration(mSession);
      if (!isStillDead(client)) return keep(client);
      registration.askHostToTakeOut(id);
      wasAsked = !registration.isHeld();
      if (!wasAsked) return removeAll(client, id);
    }
    const Registration registration(mSession);
    if (!wasAsked && !isStillDead(client)) return keep(client);
    if (wasAsked && isBack(client)) return keep(client);
    removeAll(client, id);
  }

  void removeLeftovers(const std::vector<inspect::Leftover>& leftovers) {
    if (leftovers.empty()) return;
    const Registration registration(mSession);
    take(host::remove(leftovers));
  }

  void take(host::Removal removal) {
    for (std::string& phrase : removal.removed)
      mReaped.removed.push_back(std::move(phrase));
    for (std::string& sentence : removal.kept)
      mReaped.kept.push_back(std::move(sentence));
  }

  Reaped reaped() { return std::move(mReaped); }

 private:
  SessionPicture look() {
    return readSession(mSource, {.withConnections = false, .withUsers = true});
  }

  bool isStillDead(const ClientPicture& client) {
    const SessionPicture now = look();
    const ClientPicture* row = now.find(client.id);
    return row != nullptr && isSame(client, *row) &&
           judgeClient(*row, now, *mExam.watched).verdict == inspect::eVerdict::eDead;
  }

  /// Whether somebody has joined under the ID since its host was asked.
  bool isBack(const ClientPicture& client) {
    const SessionPicture now = look();
    const ClientPicture* row = now.find(client.id);
    return row != nullptr && !isSame(client, *row);
  }

  void keep(const ClientPicture& client) {
    mReaped.kept.push_back("The client \"" + client.id +
                           "\" is there again, or gone: it was left alone.");
  }

  /// With the registration lock.
  void removeAll(const ClientPicture& client, const LIPC::ClientID& id) {
    for (LIPC::ClientEntry& entry : mSession.table().entries)
      if (entry.id.equals(id)) entry.release();
    LIPC::PublishedConnections::withdraw(id);
    LIPC::removeRemains(id, mSession.table());
    mReaped.removed.push_back("the client " + client.id);
    for (const auto& segment : client.segments) {
      if (!segment || segment->error != 0) continue;
      const auto still = LIPC::ShmManaged::find(segment->name.c_str());
      if (still && still->id == segment->id)
        mReaped.kept.push_back("The segment \"" + segment->name +
                               "\" stays: " + std::to_string(still->attachCount) +
                               " processes have it attached, the host perhaps. It goes with them.");
    }
  }

  const Exam& mExam;
  inspect::Source& mSource;
  Session mSession;
  Reaped mReaped;
};

/// Whether somebody has made a table since, or is about to: a host that does not take the hosts'
/// lock makes its other parts first.
bool hasBegun(const Exam& exam) {
  if (exam.session.table) return false;
  std::this_thread::sleep_for(cBeginning);
  return LIPC::ShmManaged::find(LIPC::cSessionSegment).has_value();
}

/// With the lock that a lipc host has for as long as it runs, so that none starts meanwhile.
Reaped reapSession(const ReapPlan& plan, const Exam& exam) {
  try {
    const host::HostLock lock;
    if (host::isSessionAlive() || hasBegun(exam))
      throw Failure(eExitSessionAlive,
                    "a session is alive after all. Nothing was touched. See it with: lipc ls");
    Reaped reaped;
    const SignalsHeld signals;
    reaped.removed = host::clearDeadSession();
    host::Removal rest = host::remove(plan.leftovers);
    std::move(rest.removed.begin(), rest.removed.end(), std::back_inserter(reaped.removed));
    reaped.kept = std::move(rest.kept);
    return reaped;
  } catch (const host::SessionAliveError& error) {
    throw Failure(eExitSessionAlive, "{}", error.what());
  } catch (const host::HostError& error) {
    throw Failure(eExitNoPermission, "{}", error.what());
  }
}

/// Nobody joins where there is no session, and none begins while the hosts' lock is held.
Reaped reapWithoutSession(const ReapPlan& plan) {
  try {
    const host::HostLock lock;
    const SignalsHeld signals;
    host::Removal removal = host::remove(plan.leftovers);
    return {std::move(removal.removed), std::move(removal.kept)};
  } catch (const host::SessionAliveError& error) {
    throw Failure(eExitSessionAlive, "{}", error.what());
  } catch (const host::HostError& error) {
    throw Failure(eExitNoPermission, "{}", error.what());
  }
}

}  // namespace

Reaped reap(const ReapPlan& plan, const Exam& exam, inspect::Source& source) {
  if (plan.isSessionDead) return reapSession(plan, exam);
  if (!exam.session.table) return reapWithoutSession(plan);
  Reaper reaper(exam, source);
  for (const ClientPicture& client : plan.clients)
    reaper.reapClient(client);
  reaper.removeLeftovers(plan.leftovers);
  return reaper.reaped();
}

}  // namespace tools
