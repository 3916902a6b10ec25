#pragma once

#include <chrono>
#include <string>
#include <vector>

/// What only some systems tell of their named semaphores. One source file each; the build picks it.
namespace LIPC::platform {

struct NamedSemaphore {
  std::string name;  // without the leading slash
  std::chrono::seconds
      age;  // since it was made, by the wall clock; below 0 after the clock was set back
};

/// The machine's named semaphores. macOS cannot list them: none. Threads: any.
std::vector<NamedSemaphore> listNamedSemaphores();

}  // namespace LIPC::platform
