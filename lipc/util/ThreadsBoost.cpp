// SPDX-License-Identifier: BSL-1.0

// In a file of its own, so that only programs that use boost::thread need its library.
#include <boost/thread/thread.hpp>

#include "lipc/util/ThreadPriority.h"
#include "lipc/util/Threads.h"

namespace LIPC {

void setThreadHighPriority(boost::thread* thread) {
  raisePriorityOrExit(thread->native_handle());
}

}  // namespace LIPC
