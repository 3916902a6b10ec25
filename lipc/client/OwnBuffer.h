// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <memory>
#include <optional>

#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/ShmManaged.h"

namespace LIPC {

/// A client's own ClientBuffer, whose stamp it refreshes with the mutex's handle kept open from
/// pass to pass: to open it by its name takes longer than all the rest.
///
/// A name may lead to another semaphore than before: whoever joins later under an ID that shares
/// it, or cleans up, makes it anew. So it is opened again when that is seen, every few passes where
/// the system cannot tell (macOS), and at once when the mutex is not to be had: a holder that died
/// with the old one keeps nobody.
///
/// Threads: as ClientBuffer's owner.
class OwnBuffer final : public ShmManagedCreateOpen<ClientBuffer> {
 public:
  /// Two seconds at the longest pass, half the time after which a stamp is stale.
  static constexpr int cPassesPerOpening = 4;

  using ShmManagedCreateOpen::ShmManagedCreateOpen;

  /// ClientBuffer::keepAlive, with the same exception. The buffer is attached.
  void keepAlive();

 private:
  bool isMutexCurrent();

  // Closed before the segment in which its record lies goes.
  std::unique_ptr<SemaphoreHandle> mMutex;
  std::optional<unsigned long long> mIdentity;  // platform::semaphoreIdentity, when it was opened
  int mPassesLeft = 0;
};

}  // namespace LIPC
