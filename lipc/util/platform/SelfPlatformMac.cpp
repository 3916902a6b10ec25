// SPDX-License-Identifier: BSL-1.0
#include <climits>

#include <fcntl.h>
#include <mach-o/dyld.h>
#include <mach/mach.h>
#include <pthread.h>
#include <unistd.h>

#include "lipc/util/platform/SelfPlatform.h"

namespace LIPC::platform {

std::string executablePath() {
  char path[PATH_MAX] = "";
  std::uint32_t bytes = sizeof path;
  return _NSGetExecutablePath(path, &bytes) == 0 ? path : std::string();
}

Listing listOwnThreads() {
  thread_act_array_t threads = nullptr;
  mach_msg_type_number_t count = 0;
  if (task_threads(mach_task_self(), &threads, &count) != KERN_SUCCESS) return std::nullopt;
  std::map<long long, std::string> list;
  for (mach_msg_type_number_t i = 0; i < count; ++i) {
    char name[64] = "";
    if (const pthread_t thread = pthread_from_mach_thread_np(threads[i]); thread != nullptr)
      pthread_getname_np(thread, name, sizeof name);
    list.emplace(threads[i], name);
    mach_port_deallocate(mach_task_self(), threads[i]);
  }
  vm_deallocate(mach_task_self(), reinterpret_cast<vm_address_t>(threads),
                count * sizeof(thread_act_t));
  return list;
}

Listing listOwnFiles() {
  std::map<long long, std::string> files;
  const int limit = getdtablesize();
  for (int file = 0; file < limit; ++file) {
    char path[PATH_MAX] = "";
    if (fcntl(file, F_GETFD) < 0) continue;
    if (fcntl(file, F_GETPATH, path) < 0) path[0] = '\0';
    files.emplace(file, path);
  }
  return files;
}

Listing listOwnSegments() {
  return std::nullopt;
}

std::optional<std::size_t> residentBytes() {
  mach_task_basic_info info{};
  mach_msg_type_number_t count = MACH_TASK_BASIC_INFO_COUNT;
  if (task_info(mach_task_self(), MACH_TASK_BASIC_INFO, reinterpret_cast<task_info_t>(&info),
                &count) != KERN_SUCCESS)
    return std::nullopt;
  return static_cast<std::size_t>(info.resident_size);
}

}  // namespace LIPC::platform
