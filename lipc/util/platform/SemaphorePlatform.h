// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

/// What only some systems tell of their named semaphores. One source file each; the build picks it.
namespace LIPC::platform {

struct NamedSemaphore {
  std::string name;  // without the leading slash
  std::chrono::seconds
      age;  // since it was made, by the wall clock; below 0 after the clock was set back
  uid_t owner = 0;
  unsigned permissions = 0;  // 0 to 0777
};

/// The machine's named semaphores. macOS cannot list them: nothing. Threads: any.
std::optional<std::vector<NamedSemaphore>> listNamedSemaphores();

/// Tells the semaphore to which `name`, without the leading slash, leads from one that is made
/// under that name while somebody still has the first one open. 0: there is none. Nothing on macOS.
/// Threads: any.
std::optional<unsigned long long> semaphoreIdentity(const char* name);

}  // namespace LIPC::platform
