// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <functional>
#include <string_view>

#include <unistd.h>

namespace tools {

/// A line on a terminal that says what goes on. Each takes the place of the one before; the last
/// goes at this object's end. Nothing is shown where the file is no terminal, or a dumb one.
///
/// Threads: one.
class ProgressLine {
 public:
  /// `file`: stays open as long as this object.
  explicit ProgressLine(int file = STDERR_FILENO);
  ~ProgressLine() { clear(); }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// Made printable, and cut to 79 columns.
  void show(std::string_view text);
  void clear();

 private:
  const int mFile;
  const bool mIsShown;
  bool mIsClear = true;
};

/// For `Source::watch` and what watches with it for `cFullWatch`: shows how long it takes yet. A
/// stop request ends the watching.
std::function<bool(double)> watchProgress(ProgressLine& line);

}  // namespace tools
