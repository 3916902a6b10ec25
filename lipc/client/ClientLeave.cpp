// SPDX-License-Identifier: BSL-1.0

// Leaving the session.
#include <algorithm>
#include <chrono>
#include <exception>

#include "lipc/client/Client.h"
#include "lipc/session/ConnectionPool.h"
#include "lipc/util/Log.h"

namespace LIPC {
namespace {

constexpr char cSource[] = "disconnectWithoutLock";
constexpr int cExchangeAttempts = 50;
constexpr std::chrono::milliseconds cExchangeSleep(2);
constexpr int cReleaseAttempts = 10;
constexpr int cLockTimeoutMS = 3000;
constexpr int cAnswerTimeoutMS = 1500;

}  // namespace

void Client::disconnectWithoutLock() {
  onLIPCConnectionToBeRemoved();
  leaveWithoutLock();
}

void Client::leaveWithoutLock() {
  closeExchange();
  // The handle on the new-data semaphore stays until the audio thread is out of the exchange.
  mConnected = false;
  mLeaveRequested = false;
  SessionBuffer* session = mAttachment.session();
  if (session == nullptr) {
    Lct::Log(Lct::eLogWarn, cSource,
             "\n!!! disconnectWithoutLock : CAN'T get shared mem Session !!! \n");
  } else {
    leaveSession(*session);
  }
  deleteManagedPtrs();
}

void Client::closeExchange() {
  for (int attempt = 0; attempt < cExchangeAttempts; ++attempt) {
    if (mSHMSliceBufferAccessHandle.try_wait()) return;
    std::this_thread::sleep_for(cExchangeSleep);
  }
  Lct::Log(Lct::eLogError, cSource,
           "*** disconnectWithoutLock : Could not get SHMSliceBufferAccessMutex ***");
}

/// A call that finds the flag cleared is over in no time; one that is held up inside, in a debugger
/// or on a machine without a free core, keeps what it reads for as long as it takes.
bool Client::isAudioThreadOut() {
  for (int attempt = 0; mAudioCalls != 0; ++attempt) {
    if (attempt == cReleaseAttempts) return false;
    std::this_thread::sleep_for(cExchangeSleep);
  }
  return true;
}

/// Whoever has made a buffer of this ID since has its row too: asking to leave, clearing rows or
/// withdrawing the connections would hit that one. It may come while this client waits, so it looks
/// again after each wait. Without its row, which somebody freed, it has nothing to ask the host
/// for, and a host whose table is not the session's any more does not answer.
void Client::leaveSession(SessionBuffer& session) {
  const ClientID ownID(mConnectID);
  const auto isOver = [&] { return mAttachment.hasLostItsID() || !mAttachment.isSessionCurrent(); };
  if (isOver()) {
    mClientIndex = -1;
    return;
  }
  if (!hasRow(session)) {
    mClientIndex = -1;
    keepConnections(session);
    return PublishedConnections::withdraw(ownID);
  }
  SemaphoreHandle& canRegister = *mAttachment.mSessionBufferClientsCanRegisterSemaphore;
  if (mSemaWaiter.timed_wait(canRegister, cLockTimeoutMS, "SessionBufferClientsCanRegister")) {
    RegistrationLock lock(canRegister);
    if (isOver()) {
      mClientIndex = -1;
      return;
    }
    keepConnections(session);
    askHost(mAttachment, mSemaWaiter, lock, ownID, SessionBuffer::cLeaveRequest, cAnswerTimeoutMS);
  } else if (!isOver()) {
    for (ClientEntry& entry : session.entries) {
      if (entry.id.equals(ownID)) entry.release();
    }
    mClientIndex = -1;
    Lct::Log(Lct::eLogWarn, cSource,
             "\n client mSessionBufferClientsCanRegisterSemaphore got timeout \n");
  }
  if (!isOver()) PublishedConnections::withdraw(ownID);
}

/// Copies the session's present state of the configured connections back, so that the next join
/// restores it. Not a change of the configuration: nothing rejoins because of it. What the user has
/// edited since the join stays as edited, since the leave may be there to publish just that, and a
/// connection that is configured as cut stays cut, whatever the session lists.
void Client::keepConnections(const SessionBuffer& session) {
  std::list<Connection> current;
  try {
    session.getClientConnections(ClientID(mConnectID), current, 0, false);
  } catch (const std::exception& error) {
    Lct::Log(Lct::eLogWarn, cSource, "the session's connections could not be read: %s",
             error.what());
    return;
  }
  const std::lock_guard edit(mEditMutex);
  for (const Connection& live : current) {
    if (!live.isDefined()) continue;
    const ConnectionFinder isIt{live.source, live.target};
    const auto configured = std::find_if(mConnections.begin(), mConnections.end(), isIt);
    const auto joined = std::find_if(mJoinedConnections.begin(), mJoinedConnections.end(), isIt);
    if (configured == mConnections.end() || joined == mJoinedConnections.end()) continue;
    if (configured->disconnectRequested == 0 && haveSameRouting(*configured, *joined)) {
      *configured = live;
    }
  }
}

}  // namespace LIPC
