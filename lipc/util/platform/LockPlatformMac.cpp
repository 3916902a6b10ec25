// SPDX-License-Identifier: BSL-1.0
#include "lipc/util/platform/LockPlatform.h"

namespace LIPC {

bool isSameKindOfLock(const pthread_mutex_t& a, const pthread_mutex_t& b) {
  return a.__sig == b.__sig;
}

int allocatePages(int, std::size_t) {
  return 0;
}

}  // namespace LIPC
