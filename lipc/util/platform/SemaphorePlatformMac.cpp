#include "lipc/util/platform/SemaphorePlatform.h"

namespace LIPC::platform {

std::vector<NamedSemaphore> listNamedSemaphores() {
  return {};
}

}  // namespace LIPC::platform
