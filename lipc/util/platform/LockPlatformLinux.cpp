// SPDX-License-Identifier: BSL-1.0
#include <cerrno>

#include <fcntl.h>

#include "lipc/util/platform/LockPlatform.h"

namespace LIPC {

bool isSameKindOfLock(const pthread_mutex_t& a, const pthread_mutex_t& b) {
  return a.__data.__kind == b.__data.__kind;
}

int allocatePages(int file, std::size_t bytes) {
  int error = 0;
  do {
    error = posix_fallocate(file, 0, static_cast<off_t>(bytes));
  } while (error == EINTR);
  return error;
}

}  // namespace LIPC
