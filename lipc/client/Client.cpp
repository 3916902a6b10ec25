// SPDX-License-Identifier: BSL-1.0
#include "lipc/client/Client.h"

#include <bit>

#include "lipc/util/Identifiers.h"

namespace LIPC {

Client::Client(int clientType, const char* name)
    : mClientType(static_cast<std::uint32_t>(clientType)),
      mName(name != nullptr ? name : ""),
      mConfig(generateUUID(), generateUUID()),
      mSHMSliceBufferAccessSemaphore((mConfig.active().clientID + cSliceAccessSuffix).c_str(), 0),
      mSHMSliceBufferAccessHandle(mSHMSliceBufferAccessSemaphore) {
  Semaphore::unlink(mSHMSliceBufferAccessSemaphore.name);
  mOfflineParameters[0] = 0.0F;
  mOfflineParameters[2] = 0.0F;
  mOfflineParameters[3] = std::bit_cast<float>(std::uint32_t{1});
  mOfflineParameters[4] = 3.0F;
  mOfflineParameters[5] = std::bit_cast<float>(mClientType);
  mOfflineParameters[6] = 1.0F;
}

Client::~Client() = default;

std::string Client::configGetDefaultName() const {
  return "No name";
}
unsigned Client::getOfflineParameterCount() const {
  return cOfflineParameterCount;
}
void Client::offlineParameterChanged(std::queue<std::pair<unsigned, float>>, const float*) {}
void Client::onLIPCConnectionEstablished() {}
void Client::onLIPCConnectionTick() {}
void Client::onLIPCConnectionTick(const std::deque<ClientEntry>*) {}
void Client::onLIPCConnectionToBeRemoved() {}
void Client::updateDAWvaluesCallback(SHM_Panner_DAW_Values*, int) {}
bool Client::need2updatePreviousRTparamsCallback() {
  return false;
}
int Client::updatePreviousRTparamsCallback(float*, int, int) {
  return 0;
}

void Client::startLIPCSession(int startDelayMS) {
  mThread.start(startDelayMS, [this] { autoConnectExec(); });
}

void Client::stopLIPCSession() {
  mThread.requestStop();
  {
    const std::lock_guard lock(mMutex);
    wakeToLeave();
  }
  mThread.join();
  leaveAtEnd();  // after a thread that an exception ended
}

void Client::wakeToLeave() {
  if (!mConnected || !mAttachment.mClientMustDisconnectSemaphore) return;
  mLeaveRequested = true;
  mAttachment.mClientMustDisconnectSemaphore->clear();
  mAttachment.mClientMustDisconnectSemaphore->post();
}

void Client::deleteManagedPtrs() {
  mConnected = false;
  mIsAtDoor = false;
  mReleasePending = !isAudioThreadOut();
  if (mReleasePending) return;  // the next pass tries again
  mExchange.detach();
  mAttachment.release();
}

}  // namespace LIPC
