// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <memory>

#include "lipc/client/OwnBuffer.h"
#include "lipc/realtime/SHMSlices.h"
#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/PannerValues.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/session/ShmManaged.h"

namespace LIPC {

/// Everything that a client holds of a session: the table, the handles on its semaphores, the
/// client's own segments. Filled by a join, released in one stated order by `release`.
///
/// Threads: guarded by the client's mutex; only the auto-connect thread fills and releases it, or
/// whoever stops the client after that thread has ended.
class SessionAttachment {
 public:
  SessionAttachment() = default;
  ~SessionAttachment() { release(); }
  SessionAttachment(const SessionAttachment&) = delete;
  SessionAttachment& operator=(const SessionAttachment&) = delete;

  /// Closes the five handles, then lets go of the return ring, the send ring, the client buffer and
  /// the session table. The client's own segments are removed from the system. One that lost its
  /// name meanwhile, since somebody removed it or made a new one, is let go of as far as it is
  /// still this client's: the end of the process, with which a failed removal is answered
  /// elsewhere, would hit the application that a long stop or a cleaner has already cost its
  /// session. deliberate: the panner values stay attached until the next join or the client's end.
  void release();

  bool isHeld() const { return mSession != nullptr; }
  /// Null when not attached.
  SessionBuffer* session() const { return mSession ? mSession->get() : nullptr; }
  ClientBuffer* clientBuffer() const { return mClientBuffer ? mClientBuffer->get() : nullptr; }
  /// False when one of the client's segments was removed from the system, as it happens to a client
  /// that was stopped for so long that others took it for dead.
  bool holdsItsNames() const;
  /// True when another client has made a buffer of this ID since: the row is that one's.
  bool hasLostItsID() const;
  /// False when the table is not the session's any more: its host is gone, whoever comes next makes
  /// a table of its own.
  bool isSessionCurrent() const { return mSession && mSession->holdsItsName(); }

  std::unique_ptr<ShmManagedOpen<SessionBuffer>> mSession;
  std::unique_ptr<SemaphoreHandle> mNewAudioDataAvailableSemaphore;
  std::unique_ptr<SemaphoreHandle> mSessionBufferRegistrationEndedSemaphore;
  std::unique_ptr<SemaphoreHandle> mSessionBufferRegistrationSemaphore;
  std::unique_ptr<SemaphoreHandle> mSessionBufferClientsCanRegisterSemaphore;
  std::unique_ptr<OwnBuffer> mClientBuffer;
  std::unique_ptr<ShmManagedCreateOpen<SHMSlices>> mSendSlices;
  std::unique_ptr<ShmManagedCreateOpen<SHMSlices>> mReturnSlices;
  std::unique_ptr<SemaphoreHandle> mClientMustDisconnectSemaphore;
  std::unique_ptr<ShmManagedOpen<SHM_Panner_DAW_Values>> mPannerDAWValues;
};

}  // namespace LIPC
