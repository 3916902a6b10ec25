// SPDX-License-Identifier: BSL-1.0
#include "lipc/client/OwnBuffer.h"

namespace LIPC {

void OwnBuffer::keepAlive() {
  if (mPassesLeft-- > 0 && get()->keepAlive(*mMutex)) return;
  // The new handle before the old one goes: what both lead to stays mapped.
  mMutex = std::make_unique<SemaphoreHandle>(get()->keepAliveMutex);
  mPassesLeft = cPassesPerOpening - 1;
  get()->keepAlive(*mMutex);
}

}  // namespace LIPC
