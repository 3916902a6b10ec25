// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/Testing.h"

namespace support {

/// A child process whose output lines the test reads. Killed at the latest when this object ends.
class Process {
 public:
  using Milliseconds = std::chrono::milliseconds;

  /// The program's path and its arguments.
  explicit Process(std::vector<std::string> arguments) {
    int input[2], output[2];
    if (pipe(input) != 0 || pipe(output) != 0) std::abort();
    for (const int end : {input[0], input[1], output[0], output[1]})
      fcntl(end, F_SETFD, FD_CLOEXEC);
    std::vector<char*> argv;
    for (std::string& argument : arguments)
      argv.push_back(argument.data());
    argv.push_back(nullptr);
    mPid = fork();
    if (mPid == 0) {
      dup2(input[0], STDIN_FILENO);
      dup2(output[1], STDOUT_FILENO);
      dup2(output[1], STDERR_FILENO);
      execv(argv[0], argv.data());
      std::perror(argv[0]);
      _exit(127);
    }
    close(input[0]);
    close(output[1]);
    mInput = input[1];
    mOutputFile = output[0];
  }
  ~Process() {
    if (isRunning()) kill(mPid, SIGKILL);
    wait(10s);
    closeInput();
    close(mOutputFile);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// After SIGSTOP it has stopped when this returns.
  void signal(int number) const {
    kill(mPid, number);
    siginfo_t info;
    if (number == SIGSTOP)
      waitid(P_PID, static_cast<id_t>(mPid), &info, WSTOPPED | WEXITED | WNOWAIT);
  }
  /// Writes a line to its standard input.
  void send(const std::string& line) const { dprintf(mInput, "%s\n", line.c_str()); }
  /// Closes its standard input, at which a participant leaves and ends.
  void closeInput() {
    if (mInput >= 0) close(mInput);
    mInput = -1;
  }
  /// Reads its output until a line contains `text`; false when it does not come in time or the
  /// output ends.
  bool waitForLine(const std::string& text, Milliseconds limit) {
    using Clock = std::chrono::steady_clock;
    for (const auto deadline = Clock::now() + limit;;) {
      for (std::size_t end; (end = mOutput.find('\n', mRead)) != std::string::npos;) {
        mLine = mOutput.substr(mRead, end - mRead);
        mRead = end + 1;
        if (mLine.find(text) != std::string::npos) return true;
      }
      const auto left = std::chrono::duration_cast<Milliseconds>(deadline - Clock::now()).count();
      pollfd ready{mOutputFile, POLLIN, 0};
      if (left <= 0 || poll(&ready, 1, static_cast<int>(left)) <= 0) return false;
      char buffer[4096];
      const ssize_t count = read(mOutputFile, buffer, sizeof buffer);
      if (count <= 0) return false;
      mOutput.append(buffer, static_cast<std::size_t>(count));
    }
  }
  /// The line that the last successful waitForLine stopped at.
  const std::string& line() const { return mLine; }
  /// Everything that it printed so far, what waitForLine passed over included.
  const std::string& output() const { return mOutput; }
  /// Exit status, or minus the signal that ended it, or -1000 when it still runs after `limit`.
  int wait(Milliseconds limit) {
    eventually(limit, [this] {
      int status = 0;
      if (mStatus == cStillRunning && waitpid(mPid, &status, WNOHANG) == mPid)
        mStatus = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
      return mStatus != cStillRunning;
    });
    return mStatus;
  }
  bool isRunning() { return wait(0ms) == cStillRunning; }

  static constexpr int cStillRunning = -1000;

 private:
  pid_t mPid = -1;
  int mInput = -1;
  int mOutputFile = -1;
  int mStatus = cStillRunning;
  std::string mOutput, mLine;
  std::size_t mRead = 0;  // of mOutput
};

}  // namespace support
