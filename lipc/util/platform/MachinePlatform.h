// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

/// What the systems tell of processes and of shared memory, each in its own way. One source file
/// each; the build picks it. Nothing here leaves a trace. Threads: any.
namespace LIPC::platform {

struct ProcessState {
  bool lives = false;      // a zombie does not
  bool isStopped = false;  // by a signal or a debugger
  std::string command;     // its command line or name; empty where the system does not tell
};

ProcessState processState(pid_t process);

/// A variable out of another process's environment, as that was when the process was started; empty
/// where it is not set. Nothing of a process that this one may not look into, and on macOS, which
/// does not tell.
std::optional<std::string> environmentVariable(pid_t process, const std::string& name);

/// Who has System V segments attached, by segment: a process for each mapping. Of processes that
/// this one may not look into nothing is known. macOS does not tell: none.
std::map<int, std::vector<pid_t>> segmentUsers();

/// The kernel's limits on System V shared memory; none where there is no such limit, or where it
/// cannot be read.
struct SharedMemoryLimits {
  std::optional<std::uint64_t> largestSegmentBytes;
  std::optional<std::uint64_t> allPages;
  std::optional<std::uint64_t> segments;            // on the machine
  std::optional<std::uint64_t> segmentsPerProcess;  // attached at one time
  std::uint64_t pageBytes = 0;                      // of `allPages`
};

SharedMemoryLimits sharedMemoryLimits();

struct SharedMemoryInUse {
  std::uint64_t segments = 0;
  std::uint64_t pages = 0;
};

/// Of the whole machine. macOS does not tell: nothing.
std::optional<SharedMemoryInUse> sharedMemoryInUse();

/// The count of a named semaphore, opened without being created. Nothing where there is none, where
/// this process may not open it, and on macOS, which does not tell.
std::optional<int> semaphoreCount(const std::string& nameWithoutSlash);

/// Where sessions keep files: key files, and on Linux semaphores and the connection pool.
std::vector<std::string> sessionFolders();

}  // namespace LIPC::platform
