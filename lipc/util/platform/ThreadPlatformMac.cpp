// SPDX-License-Identifier: BSL-1.0
#include <dlfcn.h>
#include <mach/mach.h>
#include <mach/thread_policy.h>

#include "lipc/util/platform/ThreadPlatform.h"

namespace LIPC::platform {
namespace {

constexpr integer_t cImportance = 127;

}  // namespace

void nameCurrentThread(const char* name) {
  using SetName = int (*)(const char*);
  const auto setName = reinterpret_cast<SetName>(dlsym(RTLD_DEFAULT, "pthread_setname_np"));
  if (setName != nullptr) setName(name);
}

int raisePrecedence(pthread_t thread) {
  thread_precedence_policy_data_t policy{cImportance};
  return thread_policy_set(pthread_mach_thread_np(thread), THREAD_PRECEDENCE_POLICY,
                           reinterpret_cast<thread_policy_t>(&policy),
                           THREAD_PRECEDENCE_POLICY_COUNT);
}

}  // namespace LIPC::platform
