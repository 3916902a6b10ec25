// SPDX-License-Identifier: BSL-1.0
#include "lipc/util/Threads.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <pthread.h>
#include <sched.h>

#include "lipc/util/Log.h"
#include "lipc/util/SystemError.h"
#include "lipc/util/ThreadPriority.h"
#include "lipc/util/platform/ThreadPlatform.h"

namespace LIPC {
namespace {

constexpr char cSource[] = "setThreadHighPriority";

[[noreturn]] void exitAfterPosixFailure(const char* format, int code) {
  errno = code;
  Lct::Log(Lct::eLogError, cSource, format, systemErrorText(code).c_str());
  std::exit(1);
}

}  // namespace

void raisePriorityOrExit(pthread_t thread) {
  int policy = 0;
  sched_param parameters{};
  if (const int code = pthread_getschedparam(thread, &policy, &parameters); code != 0) {
    exitAfterPosixFailure("(pthread_getschedparam): %s", code);
  }
  parameters.sched_priority = sched_get_priority_max(policy);
  if (const int code = pthread_setschedparam(thread, policy, &parameters); code != 0) {
    exitAfterPosixFailure("(pthread_setschedparam): %s", code);
  }
  if (const int code = platform::raisePrecedence(thread); code != 0) {
    Lct::Log(Lct::eLogError, cSource, "(thread_policy_set): %d", code);
    std::exit(1);
  }
}

void setThreadHighPriority(std::thread* thread) {
  if (thread != nullptr) raisePriorityOrExit(thread->native_handle());
}

std::thread startThread(std::function<void()> body) {
  try {
    return std::thread(std::move(body));
  } catch (const std::system_error& error) {
    throw std::system_error(error.code(), "thread constructor failed");
  }
}

void setCurrentThreadName(const char* name) {
  platform::nameCurrentThread(name);
}

}  // namespace LIPC
