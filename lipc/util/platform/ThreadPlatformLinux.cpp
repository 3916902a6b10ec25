// SPDX-License-Identifier: BSL-1.0
#include <cstring>

#include <dlfcn.h>

#include "lipc/util/platform/ThreadPlatform.h"

namespace LIPC::platform {
namespace {

/// TASK_COMM_LEN of the Linux kernel, terminating NUL included. A longer name would be refused.
constexpr std::size_t cNameBytes = 16;

}  // namespace

void nameCurrentThread(const char* name) {
  using SetName = int (*)(pthread_t, const char*);
  const auto setName = reinterpret_cast<SetName>(dlsym(RTLD_DEFAULT, "pthread_setname_np"));
  if (setName == nullptr) return;
  char cut[cNameBytes] = {};
  std::strncpy(cut, name, cNameBytes - 1);
  setName(pthread_self(), cut);
}

int raisePrecedence(pthread_t) {
  return 0;
}

}  // namespace LIPC::platform
