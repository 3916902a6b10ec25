#include "lipc/session/shmKey.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/stat.h>

#include "lipc/util/Log.h"

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
             std::strerror(errno));
  }
  return key;
}

void refreshKeyFile(const char* name) {
  utimensat(AT_FDCWD, keyFilePath(name).c_str(), nullptr, 0);
}

key_t existingShmKey(const char* name) {
  return ftok(keyFilePath(name).c_str(), cProjectID);
}

}  // namespace LIPC
