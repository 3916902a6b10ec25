// SPDX-License-Identifier: BSL-1.0
#include "lipc/util/platform/MemoryPlatform.h"

namespace LIPC::platform {

bool populateToWrite(void*, std::size_t) {
  return false;
}

bool populateToRead(const void*, std::size_t) {
  return false;
}

}  // namespace LIPC::platform
