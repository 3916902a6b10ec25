// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <pthread.h>

/// The thread calls that differ between macOS and Linux. One source file each; the build picks it.
namespace LIPC::platform {

/// Names the calling thread through the platform's "pthread_setname_np", which is looked up at run
/// time; where it is absent, nothing happens.
void nameCurrentThread(const char* name);

/// macOS: sets the thread's Mach precedence to 127 and returns the kernel's code, 0 on success.
/// Linux has no such call: 0.
int raisePrecedence(pthread_t thread);

}  // namespace LIPC::platform
