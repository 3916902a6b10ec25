// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace tools::validate {

/// A process of this very program that runs one check, in a process group of its own. At the end of
/// this object the group is killed; should this process die first, the child notices.
///
/// Threads: one.
class ChildProcess {
 public:
  /// Throws std::runtime_error when none can be had.
  explicit ChildProcess(std::vector<std::string> arguments);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Reads for up to `time`, less when something comes. Returns the lines that it reported.
  std::vector<std::string> read(std::chrono::milliseconds time);
  /// How it ended, as waitpid says; nothing while it runs.
  std::optional<int> ended();
  /// Kills what is left of its group; true when that was more than itself.
  bool killGroup();
  /// The last of what it printed.
  const std::string& output() const { return mOutput; }

 private:
  struct Pipe {
    Pipe();
    ~Pipe();
    int readEnd, writeEnd;
  };

  [[noreturn]] void become(std::vector<std::string>& arguments);
  static void closeEnd(int& end);

  Pipe mReport, mPrinted, mLifeline;
  pid_t mPid = -1;
  std::optional<int> mStatus;
  std::string mUnread;  // the beginning of a line
  std::string mOutput;
};

/// In the child: ends the whole group as soon as the command is gone. False when this process was
/// not started by the command.
bool followTheCommand();

}  // namespace tools::validate
