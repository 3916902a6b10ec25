// SPDX-License-Identifier: BSL-1.0
#pragma once

#include "lipc/client/SessionAttachment.h"
#include "lipc/realtime/timed_posix_sema_waiter.h"

namespace LIPC {

/// The session's registration lock while this client holds it. The scope's end posts it, unless the
/// request went to the host: then the host posts it when it ends the registration.
class RegistrationLock {
 public:
  /// `handle` was taken by the caller.
  explicit RegistrationLock(SemaphoreHandle& handle) : mHandle(&handle) {}
  ~RegistrationLock() {
    if (mHandle != nullptr) mHandle->post();
  }
  RegistrationLock(const RegistrationLock&) = delete;
  RegistrationLock& operator=(const RegistrationLock&) = delete;

  void leaveToHost() { mHandle = nullptr; }

 private:
  SemaphoreHandle* mHandle;
};

/// Writes the request into the session's header, wakes the host and waits for its answer, at most
/// `timeoutMS`. deliberate: nobody looks at whether the host answered; a client that could not tell
/// its host of it joins and leaves all the same.
inline void askHost(SessionAttachment& attachment, timed_posix_sema_waiter& waiter,
                    RegistrationLock& lock, const ClientID& id, std::uint16_t request,
                    int timeoutMS) {
  SemaphoreHandle& ended = *attachment.mSessionBufferRegistrationEndedSemaphore;
  attachment.session()->writeRequest(id, request);
  ended.clear();
  lock.leaveToHost();
  attachment.mSessionBufferRegistrationSemaphore->post();
  waiter.timed_wait(ended, timeoutMS, "SessionBufferRegistrationEnded");
}

}  // namespace LIPC
