// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>

namespace tools {

/// Lets a thread sleep until another one, or a signal's handler, wakes it. A wake that comes before
/// the sleep ends it at once; several are one.
///
/// Threads: `wake` from any, and from signal handlers; `sleepFor` on one.
class WakeUp {
 public:
  /// Throws std::system_error when the process has no files left.
  WakeUp();
  ~WakeUp();
  WakeUp(const WakeUp&) = delete;
  WakeUp& operator=(const WakeUp&) = delete;

  void wake() const noexcept;
  /// Ends also when the last reader of `output`, a descriptor of a pipe, is gone, where the system
  /// tells that to who asks for nothing else: Linux does.
  void sleepFor(std::chrono::milliseconds most, int output) const;

 private:
  int mEnds[2] = {-1, -1};  // of a pipe: read, write
};

}  // namespace tools
