#include "tests/support/Process.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/Wait.h"

namespace support {

Process::Process(std::vector<std::string> arguments) {
  int input[2];
  int output[2];
  if (pipe(input) != 0 || pipe(output) != 0) std::abort();
  for (const int end : {input[0], input[1], output[0], output[1]}) {
    fcntl(end, F_SETFD, FD_CLOEXEC);
  }
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

Process::~Process() {
  if (isRunning()) {
    signal(SIGKILL);
    wait(Milliseconds(10'000));
  }
  closeInput();
  close(mOutputFile);
}

void Process::signal(int number) const {
  kill(mPid, number);
  if (number != SIGSTOP) return;
  siginfo_t info;
  waitid(P_PID, static_cast<id_t>(mPid), &info, WSTOPPED | WEXITED | WNOWAIT);
}

void Process::send(const std::string& line) const {
  const std::string text = line + "\n";
  if (write(mInput, text.data(), text.size()) != static_cast<ssize_t>(text.size())) std::abort();
}

void Process::closeInput() {
  if (mInput >= 0) close(mInput);
  mInput = -1;
}

bool Process::readMore(Milliseconds limit) {
  pollfd ready{mOutputFile, POLLIN, 0};
  if (poll(&ready, 1, static_cast<int>(limit.count())) <= 0) return false;
  char buffer[4096];
  const ssize_t count = read(mOutputFile, buffer, sizeof buffer);
  if (count <= 0) return false;
  mOutput.append(buffer, static_cast<std::size_t>(count));
  return true;
}

bool Process::waitForLine(const std::string& text, Milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    for (std::size_t end; (end = mOutput.find('\n', mRead)) != std::string::npos;) {
      mLine = mOutput.substr(mRead, end - mRead);
      mRead = end + 1;
      if (mLine.find(text) != std::string::npos) return true;
    }
    const auto left =
        std::chrono::duration_cast<Milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0 || !readMore(left)) return false;
  }
}

int Process::wait(Milliseconds limit) {
  eventually(limit, [this] {
    int status = 0;
    if (mStatus == cStillRunning && waitpid(mPid, &status, WNOHANG) == mPid) {
      mStatus = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }
    return mStatus != cStillRunning;
  });
  return mStatus;
}

}  // namespace support
