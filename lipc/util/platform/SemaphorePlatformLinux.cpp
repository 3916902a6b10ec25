// SPDX-License-Identifier: BSL-1.0
#include <ctime>
#include <memory>
#include <string_view>

#include <dirent.h>
#include <sys/stat.h>

#include "lipc/util/platform/SemaphorePlatform.h"

namespace LIPC::platform {
namespace {

/// Where glibc keeps each semaphore in a file of its own.
constexpr char cFolder[] = "/dev/shm/";
constexpr std::string_view cFilePrefix = "sem.";

}  // namespace

std::optional<std::vector<NamedSemaphore>> listNamedSemaphores() {
  std::vector<NamedSemaphore> semaphores;
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(cFolder), closedir);
  if (!folder) return std::nullopt;
  const std::time_t now = std::time(nullptr);
  while (const dirent* entry = readdir(folder.get())) {
    const std::string_view file = entry->d_name;
    struct stat status {};
    if (!file.starts_with(cFilePrefix) ||
        lstat((cFolder + std::string(file)).c_str(), &status) != 0)
      continue;
    semaphores.push_back({std::string(file.substr(cFilePrefix.size())),
                          std::chrono::seconds(now - status.st_mtime), status.st_uid,
                          status.st_mode & 0777});
  }
  return semaphores;
}

std::optional<unsigned long long> semaphoreIdentity(const char* name) {
  struct stat status {};
  const std::string path = cFolder + std::string(cFilePrefix) + name;
  return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

}  // namespace LIPC::platform
