// SPDX-License-Identifier: BSL-1.0

// One attempt to join the session that a host has set up.
#include <cmath>
#include <exception>
#include <utility>

#include "lipc/client/AutoConnections.h"
#include "lipc/client/Client.h"
#include "lipc/session/ConnectionPool.h"
#include "lipc/util/Identifiers.h"
#include "lipc/util/Log.h"
#include "lipc/util/SharedWord.h"

namespace LIPC {
namespace {

/// After so many attempts the semaphores are opened anew: somebody may have made the session's
/// again under their names, over the same table.
constexpr unsigned cAttemptsAtDoor = 10;

/// Offline parameter whose value-4 bit says that the client has joined.
constexpr int cStateParameter = 6;
constexpr std::int32_t cJoinedBit = 4;

/// The float with the bit set: rounded to the nearest integer, half away from zero. A value outside
/// the integers' range counts as 0.
float withBit(float value, std::int32_t bit) {
  constexpr float limit = 2147483648.0F;
  const std::int32_t whole =
      value > -limit && value < limit ? static_cast<std::int32_t>(std::lround(value)) : 0;
  return static_cast<float>(whole | bit);
}

}  // namespace

void Client::tryConnectWithoutLock() {
  try {
    switch (attemptJoin()) {
      case eAttempt::eJoined:
        mLastJoinFailure.clear();
        return;
      case eAttempt::eLockBusy:
        mIsAtDoor = ++mBusyAttempts % cAttemptsAtDoor != 0;
        if (!mIsAtDoor) break;
        return;
      case eAttempt::eNotNow:
        break;
    }
  } catch (const std::exception& error) {
    reportJoinFailure(error.what());
  } catch (...) {
    reportJoinFailure("an exception of unknown type");
  }
  if (mExchange.isAttached()) {
    // The audio thread may hold slices by now: the application is told as before any leave.
    try {
      onLIPCConnectionToBeRemoved();
    } catch (...) {
      Lct::Log(Lct::eLogError, "tryConnectWithoutLock",
               "onLIPCConnectionToBeRemoved ended by an exception");
    }
    closeExchange();
  }
  deleteManagedPtrs();
}

Client::eAttempt Client::attemptJoin() {
  const Participant self = describeSelf();
  if (!isUsableID(self.id) || Join::isForbidden()) return eAttempt::eNotNow;
  mVersionStatus = Join::checkHost();
  if (mVersionStatus != eVersionMatches) return eAttempt::eNotNow;

  Join join(self, mAttachment);
  if (!std::exchange(mIsAtDoor, false) || !mAttachment.isSessionCurrent()) {
    mAttachment.release();
    if (!join.attachSession()) return eAttempt::eNotNow;
    join.openSessionSemaphores();
  }
  SessionBuffer& session = *mAttachment.session();
  if (!join.tryRegistrationLock()) return eAttempt::eLockBusy;
  RegistrationLock lock(*mAttachment.mSessionBufferClientsCanRegisterSemaphore);

  switch (join.checkID()) {
    case Join::eIDState::eFree:
      break;
    case Join::eIDState::eInUse:
      takeNewID();
      return eAttempt::eNotNow;
    case Join::eIDState::eCleared:
      return eAttempt::eNotNow;
  }
  ClientEntry* row = join.findRow();
  if (row == nullptr) return eAttempt::eNotNow;
  if (!join.claimNames() || !join.createClientBuffer() || !join.createSlices()) {
    reportJoinFailure(join.obstacle().c_str());
    return eAttempt::eNotNow;
  }
  takeUniqueName(session);
  PublishedConnections published(self.id);
  const std::list<Connection> connections = resolveConnections();
  // A client that is stopped in its join for so long that the host gives its lock away loses the
  // list with its name: what stands under the name by then is another's.
  const auto isStillItsOwn = [&] {
    if (mAttachment.holdsItsNames()) return true;
    published.keep();
    return false;
  };
  if (!isStillItsOwn()) return eAttempt::eNotNow;
  published.publish(connections);
  markJoinedInParameters();
  if (!isStillItsOwn() || !row->isFree()) return eAttempt::eNotNow;
  join.fillRow(*row, configGetName(), mOfflineParameters, mStrings);
  mClientIndex = session.getClientIndex(self.id);
  join.attachPannerValues();
  join.registerWithHost(lock, mSemaWaiter);
  published.keep();

  mHeartbeat.restart(loadAcquire(session.heartbeat));
  mLeaveRequested = false;
  openExchange();
  reportHandicap(join.hasSessionSemaphores() ? std::string() : join.obstacle());
  onLIPCConnectionEstablished();
  return eAttempt::eJoined;
}

Participant Client::describeSelf() {
  const std::lock_guard edit(mEditMutex);
  const ClientConfig& active = mConfig.active();
  mConnectID = active.clientID;
  return {ClientID(mConnectID), mClientType, mMode, active.inputChannelCount,
          active.outputChannelCount};
}

void Client::takeNewID() {
  const ClientID oldID(mConnectID);
  const std::string newID = generateUUID();
  const std::lock_guard edit(mEditMutex);
  // In an open edit the new ID counts from its end, unless the edit has another already; until then
  // the old one meets its owner again.
  if (mConfig.isEditing() && mConfig.edit().clientID != mConnectID) return;
  mConfig.replaceID(newID);
  mConnections.remove_if([&](const Connection& connection) { return connection.target == oldID; });
  for (Connection& connection : mConnections)
    connection.replace(oldID, ClientID(newID));
}

std::list<Connection> Client::resolveConnections() {
  const std::lock_guard edit(mEditMutex);
  resolveAutoConnections(*mAttachment.session(), mAutoConnections, ClientID(mConnectID),
                         mConnections);
  return mJoinedConnections = mConnections;
}

void Client::markJoinedInParameters() {
  storeRelaxed(mOfflineParameters[cStateParameter],
               withBit(mOfflineParameters[cStateParameter], cJoinedBit));
}

/// A client whose session's semaphores cannot be opened joins all the same, deliberately, and takes
/// part in nothing that needs them.
void Client::reportHandicap(const std::string& what) {
  if (mLastHandicap == what) return;
  mLastHandicap = what;
  if (what.empty()) return;
  Lct::Log(Lct::eLogError, "tryConnectWithoutLock", "the client joined, but %s", what.c_str());
}

void Client::reportJoinFailure(const char* what) {
  if (mLastJoinFailure == what) return;  // an attempt comes every 100 ms; say it once
  mLastJoinFailure = what;
  Lct::Log(Lct::eLogWarn, "tryConnectWithoutLock", "the join failed and is tried again: %s", what);
}

}  // namespace LIPC
