// SPDX-License-Identifier: BSL-1.0
#include "lipc/session/shmKey.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/stat.h>
#include <unistd.h>

#include "lipc/util/Log.h"
#include "lipc/util/SystemError.h"

namespace LIPC {
namespace {

constexpr int cProjectID = 1;

}  // namespace

std::string keyFilePath(const char* name) {
  return std::string(cKeyFilePrefix) + name;
}

key_t shmKey(const char* name) {
  const std::string path = keyFilePath(name);
  if (std::FILE* file = std::fopen(path.c_str(), "we"); file != nullptr) std::fclose(file);
  const key_t key = ftok(path.c_str(), cProjectID);
  if (key == -1) {
    Lct::Log(Lct::eLogError, "shmKey", "Could not create key for shm object (ftok) (%s): %s", name,
             systemErrorText(errno).c_str());
  }
  return key;
}

void refreshKeyFile(const char* name) {
  utimensat(AT_FDCWD, keyFilePath(name).c_str(), nullptr, 0);
}

key_t existingShmKey(const char* name) {
  return ftok(keyFilePath(name).c_str(), cProjectID);
}

/// The new file is there before the old one goes: the two have different identities.
bool renewKeyFile(const char* name) {
  char path[] = "/tmp/.LIPC_new_key_XXXXXX";
  const int file = mkstemp(path);
  if (file < 0) return false;
  const bool isRenewed =
      fchmod(file, 0666) == 0 && std::rename(path, keyFilePath(name).c_str()) == 0;
  const int error = errno;
  close(file);
  if (!isRenewed) unlink(path);
  errno = error;
  return isRenewed;
}

std::vector<std::string> namesWithKeyFiles() {
  const std::string_view prefix = cKeyFilePrefix;
  const std::size_t slash = prefix.rfind('/');
  const std::string folder(prefix.substr(0, slash));
  const std::string_view filePrefix = prefix.substr(slash + 1);
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(folder.c_str()), closedir);
  if (!directory) return names;
  while (const dirent* entry = readdir(directory.get())) {
    const std::string_view file = entry->d_name;
    if (file.starts_with(filePrefix)) names.emplace_back(file.substr(filePrefix.size()));
  }
  return names;
}

}  // namespace LIPC
