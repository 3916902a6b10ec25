// SPDX-License-Identifier: BSL-1.0
#include "lipc/util/platform/SemaphorePlatform.h"

namespace LIPC::platform {

std::optional<std::vector<NamedSemaphore>> listNamedSemaphores() {
  return std::nullopt;
}

std::optional<unsigned long long> semaphoreIdentity(const char*) {
  return std::nullopt;
}

}  // namespace LIPC::platform
