// SPDX-License-Identifier: BSL-1.0
#include <cerrno>
#include <csignal>

#include <libproc.h>
#include <sys/proc.h>
#include <sys/sysctl.h>
#include <unistd.h>

#include "lipc/util/platform/MachinePlatform.h"

namespace LIPC::platform {
namespace {

/// The system has its numbers in 32 or 64 bits.
std::optional<std::uint64_t> kernelNumber(const char* name) {
  std::uint64_t number = 0;
  std::size_t bytes = sizeof number;
  if (sysctlbyname(name, &number, &bytes, nullptr, 0) != 0) return std::nullopt;
  return number;
}

}  // namespace

ProcessState processState(pid_t process) {
  ProcessState state;
  if (process <= 0 || (kill(process, 0) != 0 && errno != EPERM)) return state;
  state.lives = true;
  proc_bsdinfo info{};
  if (proc_pidinfo(process, PROC_PIDTBSDINFO, 0, &info, sizeof info) == sizeof info) {
    state.lives = info.pbi_status != SZOMB;
    state.isStopped = info.pbi_status == SSTOP;
    state.command = info.pbi_name[0] != '\0' ? info.pbi_name : info.pbi_comm;
  }
  char path[PROC_PIDPATHINFO_MAXSIZE];
  if (proc_pidpath(process, path, sizeof path) > 0) state.command = path;
  return state;
}

std::optional<std::string> environmentVariable(pid_t, const std::string&) {
  return std::nullopt;
}

std::map<int, std::vector<pid_t>> segmentUsers() {
  return {};
}

SharedMemoryLimits sharedMemoryLimits() {
  return {.largestSegmentBytes = kernelNumber("kern.sysv.shmmax"),
          .allPages = kernelNumber("kern.sysv.shmall"),
          .segments = kernelNumber("kern.sysv.shmmni"),
          .segmentsPerProcess = kernelNumber("kern.sysv.shmseg"),
          .pageBytes = static_cast<std::uint64_t>(getpagesize())};
}

std::optional<SharedMemoryInUse> sharedMemoryInUse() {
  return std::nullopt;
}

std::vector<std::string> sessionFolders() {
  return {"/tmp"};
}

std::optional<int> semaphoreCount(const std::string&) {
  return std::nullopt;
}

}  // namespace LIPC::platform
