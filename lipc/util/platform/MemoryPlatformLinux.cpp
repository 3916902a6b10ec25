// SPDX-License-Identifier: BSL-1.0
#include <cerrno>

#include <sys/mman.h>

#include "lipc/util/platform/MemoryPlatform.h"

namespace LIPC::platform {
namespace {

// Linux's numbers since 5.14, which older headers do not name. A kernel before it refuses them.
constexpr int cPopulateRead = 22;
constexpr int cPopulateWrite = 23;

bool populate(void* address, std::size_t bytes, int how) {
  while (madvise(address, bytes, how) != 0)
    if (errno != EINTR) return false;
  return true;
}

}  // namespace

bool populateToWrite(void* address, std::size_t bytes) {
  return populate(address, bytes, cPopulateWrite);
}

bool populateToRead(const void* address, std::size_t bytes) {
  return populate(const_cast<void*>(address), bytes, cPopulateRead);
}

}  // namespace LIPC::platform
