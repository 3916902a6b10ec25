// SPDX-License-Identifier: BSL-1.0
#include "lipc/client/SessionAttachment.h"

namespace LIPC {
namespace {

template <class Segment>
bool holdsItsName(const std::unique_ptr<Segment>& segment) {
  return segment && segment->holdsItsName();
}

template <class Segment>
void releaseOwn(std::unique_ptr<Segment>& segment) {
  if (!segment) return;
  switch (segment->nameState()) {
    case ShmManaged::eNameHeld:
      break;
    case ShmManaged::eNameFree:
      segment->forgiveRemoval();
      break;
    case ShmManaged::eNameTaken:
      segment->leaveToAnother();
      break;
  }
  segment.reset();
}

}  // namespace

bool SessionAttachment::holdsItsNames() const {
  return holdsItsName(mClientBuffer) && holdsItsName(mSendSlices) && holdsItsName(mReturnSlices);
}

bool SessionAttachment::hasLostItsID() const {
  return !mClientBuffer || mClientBuffer->nameState() == ShmManaged::eNameTaken;
}

void SessionAttachment::release() {
  mNewAudioDataAvailableSemaphore.reset();
  mSessionBufferRegistrationEndedSemaphore.reset();
  mSessionBufferRegistrationSemaphore.reset();
  mSessionBufferClientsCanRegisterSemaphore.reset();
  mClientMustDisconnectSemaphore.reset();
  releaseOwn(mReturnSlices);
  releaseOwn(mSendSlices);
  releaseOwn(mClientBuffer);
  mSession.reset();
}

}  // namespace LIPC
