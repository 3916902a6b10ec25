#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <sys/types.h>

namespace support {

/// A child process whose output lines the test reads. Killed at the latest when this object ends.
class Process {
 public:
  using Milliseconds = std::chrono::milliseconds;

  /// The program's path and its arguments.
  explicit Process(std::vector<std::string> arguments);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// After SIGSTOP it has stopped when this returns.
  void signal(int number) const;
  /// Writes a line to its standard input.
  void send(const std::string& line) const;
  /// Closes its standard input, at which a participant leaves and ends.
  void closeInput();
  /// Reads its output until a line contains `text`; false when it does not come in time or the
  /// output ends.
  bool waitForLine(const std::string& text, Milliseconds limit);
  /// The line that the last successful waitForLine stopped at.
  const std::string& line() const { return mLine; }
  /// Everything that it printed so far, what waitForLine passed over included.
  const std::string& output() const { return mOutput; }
  /// Exit status, or minus the signal that ended it, or -1000 when it still runs after `limit`.
  int wait(Milliseconds limit);
  bool isRunning() { return wait(Milliseconds(0)) == cStillRunning; }

  static constexpr int cStillRunning = -1000;

 private:
  bool readMore(Milliseconds limit);

  pid_t mPid = -1;
  int mInput = -1;
  int mOutputFile = -1;
  int mStatus = cStillRunning;
  std::string mOutput;
  std::string mLine;
  std::size_t mRead = 0;  // of mOutput
};

}  // namespace support
