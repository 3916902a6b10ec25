// SPDX-License-Identifier: BSL-1.0
#include "lipc/client/OwnBuffer.h"

#include <string>
#include <utility>

#include "lipc/util/FixedText.h"
#include "lipc/util/platform/SemaphorePlatform.h"

namespace LIPC {

void OwnBuffer::keepAlive() {
  if (isMutexCurrent() && get()->keepAlive(*mMutex)) return;
  // The new handle before the old one goes: what both lead to stays mapped.
  mMutex = std::make_unique<SemaphoreHandle>(get()->keepAliveMutex);
  mPassesLeft = cPassesPerOpening - 1;
  get()->keepAlive(*mMutex);
}

/// Looks before the handle is opened, so that one that is made in between is seen the next time.
bool OwnBuffer::isMutexCurrent() {
  const Semaphore& record = get()->keepAliveMutex;
  if (!record.isWellFormed()) return false;
  const std::string name(fixedTextView(record.posixName));  // beside others, who may write it
  const auto before = std::exchange(mIdentity, platform::semaphoreIdentity(name.c_str()));
  if (mMutex == nullptr) return false;
  return mIdentity ? mIdentity == before && mIdentity != 0 : mPassesLeft-- > 0;
}

}  // namespace LIPC
