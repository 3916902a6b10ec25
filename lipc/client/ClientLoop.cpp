// SPDX-License-Identifier: BSL-1.0

// The auto-connect thread.
#include <exception>

#include <boost/interprocess/exceptions.hpp>

#include "lipc/client/Client.h"
#include "lipc/util/Log.h"
#include "lipc/util/SharedWord.h"
#include "lipc/util/Threads.h"

namespace LIPC {

void Client::autoConnectExec() {
  setCurrentThreadName("LIPC Client AutoConnect");
  mThread.sleepStartDelay();
  try {
    while (!mThread.isStopRequested())
      pass();
  } catch (const std::exception& error) {
    mConnected = false;
    Lct::Log(Lct::eLogError, "autoConnectExec", "the thread ends after an exception: %s",
             error.what());
    return;
  } catch (...) {
    mConnected = false;
    Lct::Log(Lct::eLogError, "autoConnectExec", "the thread ends after an exception");
    return;
  }
  leaveAtEnd();
}

void Client::pass() {
  std::deque<ClientEntry> connectedClients;
  {
    const std::lock_guard lock(mMutex);
    if (mConnected) {
      checkSessionWithoutLock(connectedClients);
    } else if (mReleasePending) {
      deleteManagedPtrs();
    } else if (mAttachment.isHeld() && !mIsAtDoor) {
      // An exception cleared the flag. Leave properly first: joining over one's own row would look
      // like meeting a live client of the same ID.
      disconnectWithoutLock();
    } else {
      tryConnectWithoutLock();
    }
  }
  deliverChanges();
  if (mClientType == cMixEngineType) {
    onLIPCConnectionTick(&connectedClients);
  } else {
    onLIPCConnectionTick();
  }
  waitForNextPass();
}

void Client::checkSessionWithoutLock(std::deque<ClientEntry>& connectedClients) {
  SessionBuffer* session = mAttachment.session();
  if (session == nullptr || !mAttachment.holdsItsNames() || !hasRow(*session)) {
    return disconnectWithoutLock();
  }

  switch (mHeartbeat.observe(loadAcquire(session->heartbeat))) {
    case HeartbeatWatch::eVerdict::eRestarted:
    case HeartbeatWatch::eVerdict::eGone:
      return disconnectWithoutLock();
    case HeartbeatWatch::eVerdict::eStalled:
      break;
    case HeartbeatWatch::eVerdict::eAdvanced:
      if (mClientType != cMixEngineType) break;
      try {
        session->getConnectedClients(ClientID(configGetClientID()), connectedClients, 0);
      } catch (const boost::interprocess::interprocess_exception&) {
        connectedClients.clear();  // the host is making a new pool
      }
      break;
  }
  SemaphoreHandle& mustDisconnect = *mAttachment.mClientMustDisconnectSemaphore;
  if (mustDisconnect.try_wait()) {
    mustDisconnect.clear();
    return disconnectWithoutLock();
  }
  // The post of this client's own request may have been taken for the end of a timed wait.
  if (mLeaveRequested) return disconnectWithoutLock();
  mAttachment.mClientBuffer->keepAlive();
}

bool Client::hasRow(const SessionBuffer& session) const {
  return session.getClientIndex(ClientID(mConnectID)) < cMaxClients;
}

void Client::deliverChanges() {
  if (!mConnected) return;
  std::deque<std::pair<unsigned, float>> changes = syncOfflineParameters();
  if (changes.empty()) return;
  offlineParameterChanged(std::queue<std::pair<unsigned, float>>(std::move(changes)),
                          mOfflineParameters);
}

/// The must-disconnect semaphore is the one way to wake the loop: a configuration change, a stop
/// and the host post it.
void Client::waitForNextPass() {
  if (!mConnected) return AutoConnectThread::sleepDisconnected();
  SemaphoreHandle& mustDisconnect = *mAttachment.mClientMustDisconnectSemaphore;
  if (mSemaWaiter.timed_wait(mustDisconnect, mThread.loopDurationMS(), "ClientMustDisconnect")) {
    mustDisconnect.clear();
    mustDisconnect.post();  // so that the next pass sees it under the lock
  }
}

/// An exception of the callback does not keep the client in the session.
void Client::leaveAtEnd() {
  const std::lock_guard lock(mMutex);
  if (mReleasePending || mIsAtDoor) return deleteManagedPtrs();
  if (!mConnected && !mAttachment.isHeld()) return;
  try {
    onLIPCConnectionToBeRemoved();
  } catch (...) {
    Lct::Log(Lct::eLogError, "leaveAtEnd", "onLIPCConnectionToBeRemoved ended by an exception");
  }
  try {
    leaveWithoutLock();
  } catch (...) {
    deleteManagedPtrs();
  }
}

}  // namespace LIPC
