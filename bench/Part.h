// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include <sys/types.h>

namespace bench {

/// A process of a session whose processor time counts; the end of the object is the end of it.
///
///   host                        a reference host
///   client ID                   a client that has joined and does nothing
///   sleeper MS                  by hand: one thread that wakes every so many milliseconds
///   mixer CHANNELS SAMPLES N    by hand: a host whose audio is ChainByHand's
class Part {
 public:
  /// Starts this program once more as a part and waits until it is ready.
  explicit Part(const std::vector<std::string>& arguments);
  ~Part();
  Part(const Part&) = delete;
  Part& operator=(const Part&) = delete;

  /// What it has used so far.
  double processorNS();

  /// The whole life of a part, from its arguments on.
  static int run(const std::vector<std::string>& arguments);

 private:
  std::FILE* mTo = nullptr;
  std::FILE* mFrom = nullptr;
  pid_t mProcess = -1;
};

}  // namespace bench
