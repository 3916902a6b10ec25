// SPDX-License-Identifier: BSL-1.0
#include "bench/Machine.h"

#include <fstream>
#include <thread>

#include <sys/utsname.h>

#include "bench/Measure.h"

namespace bench {
namespace {

/// The rest of the first line of `path` that begins with `key`, behind ": "; else "unknown".
std::string lineOf(const char* path, const std::string& key) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.compare(0, key.size(), key) != 0) continue;
    if (key.empty()) return line;
    const std::size_t colon = line.find(": ");
    if (colon != std::string::npos) return line.substr(colon + 2);
  }
  return "unknown";
}

}  // namespace

std::string describeMachine() {
  utsname system{};
  uname(&system);
  const char* const governor = "/sys/devices/system/cpu/cpu0/cpufreq/scaling_governor";
  const Cores cores = Cores::find();
  std::string text;
  text += "processor  " + lineOf("/proc/cpuinfo", "model name") + ", " +
          std::to_string(std::thread::hardware_concurrency()) + " cores, L2 " +
          lineOf("/sys/devices/system/cpu/cpu0/cache/index2/size", "") + " each\n";
  text += "governor   " + lineOf(governor, "") + "\n";
  text += std::string("kernel     ") + system.sysname + " " + system.release + "\n";
  text += "compiler   " + std::string(__VERSION__) + "\n";
  text += "load       " + lineOf("/proc/loadavg", "") + " (when the run began)\n";
  text +=
      "cores used " + std::to_string(cores.client) + " and " + std::to_string(cores.other) + "\n";
  return text;
}

Cores Cores::find() {
  Cores cores;
#ifdef CPU_SET
  cpu_set_t allowed{};
  if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) return cores;
  bool isFirst = true;
  for (int core = 0; core < CPU_SETSIZE; ++core) {
    if (!CPU_ISSET(core, &allowed)) continue;
    if (isFirst) cores.client = core;
    isFirst = false;
    cores.other = core;
  }
#endif
  return cores;
}

bool pinTo([[maybe_unused]] int core) {
#ifdef CPU_SET
  cpu_set_t one{};
  CPU_SET(core, &one);
  return sched_setaffinity(0, sizeof one, &one) == 0;
#else
  return false;
#endif
}

Pinned::Pinned(int core) {
#ifdef CPU_SET
  sched_getaffinity(0, sizeof mBefore, &mBefore);
#endif
  pinTo(core);
}

Pinned::~Pinned() {
#ifdef CPU_SET
  sched_setaffinity(0, sizeof mBefore, &mBefore);
#endif
}

}  // namespace bench
