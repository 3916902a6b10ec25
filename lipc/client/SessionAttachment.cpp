#include "lipc/client/SessionAttachment.h"

namespace LIPC {
namespace {

template <class T>
void releaseOwn(std::unique_ptr<ShmManagedCreateOpen<T>>& segment) {
  if (segment && !segment->holdsItsName()) segment->abandon();
  segment.reset();
}

}  // namespace

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
