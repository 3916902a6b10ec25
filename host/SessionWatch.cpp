// SPDX-License-Identifier: BSL-1.0

// The heartbeat's and the watch's threads of the session's host: what changed, who is lost, what
// the dead left.
#include <algorithm>
#include <utility>

#include "host/ClientSegments.h"
#include "host/SessionHost.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/Remains.h"
#include "lipc/session/ShmManaged.h"
#include "lipc/session/shmKey.h"
#include "lipc/util/SharedWord.h"

namespace host {
namespace {

using inspect::Event;
using LIPC::ClientEntry;
using LIPC::ClientID;

constexpr std::chrono::milliseconds cBeatInterval(100);
constexpr int cBeatsPerStepBack = 20;
constexpr int cBeatsPerLookAtAll = 5;
// What a join that died has left is in less of a hurry. Below the second that a watch counts of a
// gap.
constexpr int cBeatsPerLookAtNobody = 8;
constexpr std::uint64_t cStepBack = 5;
constexpr int cLooksPerRefresh = 7200;  // an hour, two at most

}  // namespace

/// Waits for nobody who may be held up: what can take long, or tells others, is the watch thread's.
void SessionHost::beat() {
  for (int beats = 1; sleepUnlessStopped(cBeatInterval); ++beats) {
    advanceHeartbeat(beats);
    const bool isForAll =
        beats % (mIsAnybodyThere ? cBeatsPerLookAtAll : cBeatsPerLookAtNobody) == 1;
    if (isForAll || hasNews()) wakeWatch(isForAll);
  }
}

void SessionHost::advanceHeartbeat(int beats) {
  if (mMisbehaviour.stallHeartbeat) return;
  std::uint64_t& heartbeat = session().heartbeat;
  const std::uint64_t now = LIPC::loadRelaxed(heartbeat);
  const bool back = (mOptions.faults.heartbeatBack && beats % cBeatsPerStepBack == 0) ||
                    mMisbehaviour.stepsBack.exchange(0) != 0;
  LIPC::storeRelease(heartbeat, back && now > cStepBack ? now - cStepBack : now + 1);
}

/// True also when somebody holds the lock. While no client is there, no connection is carried.
bool SessionHost::hasNews() {
  const std::unique_lock lock(mMutex, std::try_to_lock);
  if (!lock || mTableWatch->hasNews()) return true;
  return mAudio && !mTableWatch->rows().empty() && !mAudio->carries(mConnections->current());
}

/// Clients take the first free row: between two looks at all of them the rows in use and the next
/// one will do.
void SessionHost::watch() {
  int looks = 0;
  for (bool isForAll = false; waitForWatch(isForAll);) {
    const std::lock_guard lock(mMutex);
    const int rows = isForAll ? LIPC::cMaxClients : mTableWatch->rowsInUse() + 1;
    mTableWatch->look(session(), std::min(rows, LIPC::cMaxClients));
    mIsAnybodyThere = mTableWatch->rowsInUse() > 0;
    if (mAudio) mAudio->setConnections(mConnections->current());
    if (!isForAll) continue;
    watchClients();
    if (mAudio) {
      for (const std::string& found : mClockWatch.look(mAudio->hearings()))
        note(found);
    }
    if (++looks % cLooksPerRefresh == 0) refreshKeyFiles();
    if (!mMisbehaviour.silent && !mMisbehaviour.holdLock) watchLock();
  }
}

void SessionHost::wakeWatch(bool isForAll) {
  {
    const std::lock_guard lock(mStopMutex);
    mIsLookDue = true;
    mIsLookAtAllDue = mIsLookAtAllDue || isForAll;
  }
  mWatchChanged.notify_one();
}

/// False when the host is stopping.
bool SessionHost::waitForWatch(bool& isForAll) {
  std::unique_lock lock(mStopMutex);
  mWatchChanged.wait(lock, [this] { return mIsLookDue || mStop; });
  mIsLookDue = false;
  isForAll = std::exchange(mIsLookAtAllDue, false);
  return !mStop;
}

/// After a look at all rows.
void SessionHost::watchClients() {
  std::set<ClientID> present;
  std::vector<ClientID> lost;
  for (int index = 0; index < mTableWatch->rowsInUse(); ++index) {
    const ClientID id = session().entries[index].id;
    if (!id.isDefined() || mFillers.count(id) != 0) continue;
    present.insert(id);
    if (isLost(id)) lost.push_back(id);
  }
  mClientWatch.keepOnly(present);
  if (mAudio) mAudio->keepOnly(present);
  for (const ClientID& id : lost)
    reap(id, [&] { return isLost(id); });
}

bool SessionHost::isLost(const ClientID& id) {
  const LIPC::ShmReadOnly<LIPC::ClientBuffer> buffer(id.text().c_str());
  std::optional<std::string> stamp;
  if (buffer.get() != nullptr) stamp = std::string(buffer->stampText());
  return mClientWatch.isLost(id, stamp, std::chrono::steady_clock::now());
}

/// With the registration lock, so that no client is joining under this very ID, and judged again
/// with it: another may have taken the ID over since the first look. Who lives after all, held up
/// in a long wait since the clock was set back, is woken to come back.
void SessionHost::reap(const ClientID& id, const std::function<bool()>& isDead) {
  if (!mClientsCanRegister->try_wait()) return;  // the next look comes soon
  if (isDead()) {
    freeRows(id);
    if (mAudio) mAudio->remove(id);
    note(mConnections->reap(id));
    askToLeave(id);
    LIPC::removeRemains(id, session());
    mTableWatch->noteLeft(id, Event::eKind::eLost);
    mClientWatch.forget(id);
  }
  mClientsCanRegister->post();
}

void SessionHost::watchLock() {
  const bool isFree = mClientsCanRegister->try_wait();
  if (!isFree && !mLockWatch.isStuck(std::chrono::steady_clock::now())) return;
  removeOrphans();
  freeLock();
  if (!isFree) note("the registration lock was held without a request and was given back");
}

/// What clients left that died in a join, before they had a row, or in a leave, after it was freed.
/// Also finds a connection pool in whose lock a process died.
void SessionHost::removeOrphans() {
  std::string poolNote;
  const std::vector<ClientID> orphans = mConnections->findOrphans(session(), poolNote);
  note(poolNote);
  for (const ClientID& id : orphans) {
    note(mConnections->reap(id));
    LIPC::removeRemains(id, session());
    note("removed what " + id.text() + " left in a join or leave that did not end");
  }
}

/// Keeps the key files of a long session from cleaners of /tmp.
void SessionHost::refreshKeyFiles() {
  for (const char* name :
       {LIPC::cVersionSegment, LIPC::cSessionSegment, LIPC::cPannerValuesSegment}) {
    LIPC::refreshKeyFile(name);
  }
  for (const ClientEntry& entry : session().entries) {
    if (entry.isFree()) continue;
    const std::string name = ClientID(entry.id).text();
    for (const char* suffix : {"", LIPC::cSendSuffix, LIPC::cReturnSuffix}) {
      LIPC::refreshKeyFile((name + suffix).c_str());
    }
  }
}

}  // namespace host
