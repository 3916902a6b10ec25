// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <pthread.h>

namespace LIPC {

/// What both overloads of setThreadHighPriority do with the thread's POSIX handle.
void raisePriorityOrExit(pthread_t thread);

}  // namespace LIPC
