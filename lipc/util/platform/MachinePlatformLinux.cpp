// SPDX-License-Identifier: BSL-1.0
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

#include <dirent.h>
#include <fcntl.h>
#include <semaphore.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include "lipc/util/platform/MachinePlatform.h"

namespace LIPC::platform {
namespace {

std::string contentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string folderOf(pid_t process) {
  return "/proc/" + std::to_string(process) + "/";
}

std::optional<std::uint64_t> kernelNumber(const char* name) {
  std::istringstream text(contentsOf(std::string("/proc/sys/kernel/") + name));
  std::uint64_t number = 0;
  return text >> number ? std::optional(number) : std::nullopt;
}

/// Whether its segments are this process's too: each IPC namespace numbers its own.
bool sharesSegments(pid_t process) {
  struct stat own {
  }, other{};
  return stat("/proc/self/ns/ipc", &own) == 0 &&
         stat((folderOf(process) + "ns/ipc").c_str(), &other) == 0 && own.st_ino == other.st_ino &&
         own.st_dev == other.st_dev;
}

/// Adds the segments in a process's list of mappings. The system lists a segment as a deleted file
/// of the name SYSV and its key, whose inode is the segment's identifier:
///   7f0-7f1 rw-s 00000000 00:01 98305   /SYSV00000000 (deleted)
void addSegments(pid_t process, std::map<int, std::vector<pid_t>>& users) {
  std::ifstream mappings(folderOf(process) + "maps");
  for (std::string line; std::getline(mappings, line);) {
    if (line.find("/SYSV") == std::string::npos) continue;
    if (!sharesSegments(process)) return;
    int segment = 0;
    if (std::sscanf(line.c_str(), "%*s %*s %*s %*s %d", &segment) == 1)
      users[segment].push_back(process);
  }
}

}  // namespace

ProcessState processState(pid_t process) {
  ProcessState state;
  if (process <= 0 || (kill(process, 0) != 0 && errno != EPERM)) return state;
  // "PID (name) S ...": the name may hold anything, a bracket too.
  const std::string status = contentsOf(folderOf(process) + "stat");
  const std::size_t open = status.find('(');
  const std::size_t close = status.rfind(')');
  const bool isReadable = close != std::string::npos && close > open && close + 2 < status.size();
  const char letter = isReadable ? status[close + 2] : '?';
  state.lives = letter != 'Z' && letter != 'X';
  state.isStopped = letter == 'T' || letter == 't';
  state.command = contentsOf(folderOf(process) + "cmdline");
  std::replace(state.command.begin(), state.command.end(), '\0', ' ');
  while (state.command.ends_with(' '))
    state.command.pop_back();
  if (state.command.empty() && isReadable)
    state.command = status.substr(open + 1, close - open - 1);
  return state;
}

std::optional<std::string> environmentVariable(pid_t process, const std::string& name) {
  std::ifstream environment(folderOf(process) + "environ", std::ios::binary);
  if (process <= 0 || !environment) return std::nullopt;
  for (std::string entry; std::getline(environment, entry, '\0');)
    if (entry.starts_with(name + "=")) return entry.substr(name.size() + 1);
  return std::string();
}

std::map<int, std::vector<pid_t>> segmentUsers() {
  std::map<int, std::vector<pid_t>> users;
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc"), closedir);
  if (!folder) return users;
  while (const dirent* entry = readdir(folder.get())) {
    if (std::isdigit(static_cast<unsigned char>(entry->d_name[0])) != 0)
      addSegments(static_cast<pid_t>(std::atoi(entry->d_name)), users);
  }
  return users;
}

SharedMemoryLimits sharedMemoryLimits() {
  return {.largestSegmentBytes = kernelNumber("shmmax"),
          .allPages = kernelNumber("shmall"),
          .segments = kernelNumber("shmmni"),
          .segmentsPerProcess = std::nullopt,
          .pageBytes = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE))};
}

std::optional<SharedMemoryInUse> sharedMemoryInUse() {
  shm_info info{};
  if (shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds*>(&info)) < 0) return std::nullopt;
  return SharedMemoryInUse{static_cast<std::uint64_t>(info.used_ids), info.shm_tot};
}

std::vector<std::string> sessionFolders() {
  return {"/tmp", "/dev/shm"};
}

std::optional<int> semaphoreCount(const std::string& nameWithoutSlash) {
  sem_t* semaphore = sem_open(("/" + nameWithoutSlash).c_str(), 0);
  if (semaphore == SEM_FAILED) return std::nullopt;
  int count = 0;
  const bool isKnown = sem_getvalue(semaphore, &count) == 0;
  sem_close(semaphore);
  return isKnown ? std::optional(count) : std::nullopt;
}

}  // namespace LIPC::platform
