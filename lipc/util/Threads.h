// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <functional>
#include <thread>

namespace boost {
class thread;
}

/// Names and priorities of threads.
///
/// Threads: any. Not for the audio thread's blocks: they ask the kernel.
namespace LIPC {

/// Raises the thread to the maximum priority of its present scheduling policy and, on macOS, sets
/// its Mach precedence to 127. No real-time policy is asked for.
/// A failure of any step is logged at error level and ends the process with exit status 1: audio on
/// a thread that could not be raised would glitch without anybody knowing why.
/// A null `thread` is ignored.
void setThreadHighPriority(std::thread* thread);

/// As above, but deliberately without the test for null: the caller passes a valid thread.
/// Programs that call this overload link Boost.Thread.
void setThreadHighPriority(boost::thread* thread);

/// A new thread that runs `body`. Throws std::system_error "thread constructor failed" when the
/// system gives none.
std::thread startThread(std::function<void()> body);

/// Names the calling thread for debuggers and crash reports. Where the platform cannot, nothing
/// happens. Linux keeps the first 15 bytes.
void setCurrentThreadName(const char* name);

}  // namespace LIPC
