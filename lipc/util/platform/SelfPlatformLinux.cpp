// SPDX-License-Identifier: BSL-1.0
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <unistd.h>

#include "lipc/util/platform/SelfPlatform.h"

namespace LIPC::platform {
namespace {

namespace fs = std::filesystem;

/// The entries of a folder of numbers, with what `describe` says of each.
template <class Describe>
Listing listFolder(const char* folder, const Describe& describe) {
  std::error_code error;
  fs::directory_iterator entries(folder, error);
  if (error) return std::nullopt;
  std::map<long long, std::string> list;
  for (; entries != fs::directory_iterator(); entries.increment(error)) {
    const fs::path& path = entries->path();
    list.emplace(std::atoll(path.filename().c_str()), describe(path));
  }
  return list;
}

std::string firstLine(const fs::path& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

/// Segments that are mapped: the kernel shows "/SYSV" and the key as their file, the ID as inode.
void addAttached(std::map<long long, std::string>& segments) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::istringstream words(line);
    std::string range, mode, offset, device, name;
    long long id = 0;
    words >> range >> mode >> offset >> device >> id >> name;
    if (name.starts_with("/SYSV")) segments.emplace(id, "attached, key 0x" + name.substr(5));
  }
}

}  // namespace

std::string executablePath() {
  std::error_code error;
  return fs::read_symlink("/proc/self/exe", error).string();
}

Listing listOwnThreads() {
  return listFolder("/proc/self/task",
                    [](const fs::path& path) { return firstLine(path / "comm"); });
}

Listing listOwnFiles() {
  Listing files = listFolder("/proc/self/fd", [](const fs::path& path) {
    std::error_code error;
    return fs::read_symlink(path, error).string();
  });
  // The folder's own descriptor is closed by now.
  if (files)
    std::erase_if(*files, [](const auto& file) {
      return !fs::exists(fs::symlink_status("/proc/self/fd/" + std::to_string(file.first)));
    });
  return files;
}

Listing listOwnSegments() {
  std::ifstream table("/proc/sysvipc/shm");
  std::string line;
  if (!std::getline(table, line)) return std::nullopt;
  std::map<long long, std::string> segments;
  while (std::getline(table, line)) {
    std::istringstream words(line);
    long long key = 0, id = 0, maker = 0;
    std::string mode, bytes;
    words >> key >> id >> mode >> bytes >> maker;
    if (maker == getpid()) segments.emplace(id, "of " + bytes + " bytes");
  }
  addAttached(segments);
  return segments;
}

std::optional<std::size_t> residentBytes() {
  std::ifstream file("/proc/self/statm");
  std::size_t total = 0, resident = 0;
  if (!(file >> total >> resident)) return std::nullopt;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace LIPC::platform
