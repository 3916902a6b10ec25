// SPDX-License-Identifier: BSL-1.0
#include "tools/validate/ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "lipc/util/SystemError.h"
#include "lipc/util/platform/SelfPlatform.h"
#include "tools/validate/Reporter.h"

namespace tools::validate {
namespace {

/// Above the numbers that the child gives its ends.
constexpr int cFirstFile = 10;
constexpr std::size_t cMostOutput = 8192;
constexpr int cMostReads = 256;

int moved(int file) {
  const int higher = fcntl(file, F_DUPFD_CLOEXEC, cFirstFile);
  close(file);
  return higher;
}

/// What is there to read; empty when there is nothing.
std::string readSome(int file) {
  char buffer[4096];
  const ssize_t count = ::read(file, buffer, sizeof buffer);
  return count > 0 ? std::string(buffer, static_cast<std::size_t>(count)) : std::string();
}

}  // namespace

ChildProcess::Pipe::Pipe() {
  int ends[2];
  if (pipe(ends) != 0)
    throw std::runtime_error(std::string("no pipe can be had: ") + LIPC::systemErrorText(errno));
  readEnd = moved(ends[0]);
  writeEnd = moved(ends[1]);
}

ChildProcess::Pipe::~Pipe() {
  closeEnd(readEnd);
  closeEnd(writeEnd);
}

void ChildProcess::closeEnd(int& end) {
  if (end >= 0) close(end);
  end = -1;
}

ChildProcess::ChildProcess(std::vector<std::string> arguments) {
  mPid = fork();
  if (mPid == 0) become(arguments);
  if (mPid < 0)
    throw std::runtime_error(std::string("no process can be had: ") + LIPC::systemErrorText(errno));
  setpgid(mPid, mPid);
  closeEnd(mReport.writeEnd);
  closeEnd(mPrinted.writeEnd);
  closeEnd(mLifeline.readEnd);
  for (const int end : {mReport.readEnd, mPrinted.readEnd})
    fcntl(end, F_SETFL, O_NONBLOCK);
}

ChildProcess::~ChildProcess() {
  if (mStatus) return;
  killGroup();
  waitpid(mPid, nullptr, 0);
}

void ChildProcess::become(std::vector<std::string>& arguments) {
  setpgid(0, 0);
  std::signal(SIGPIPE, SIG_DFL);
  dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
  dup2(mPrinted.writeEnd, STDOUT_FILENO);
  dup2(mPrinted.writeEnd, STDERR_FILENO);
  dup2(mReport.writeEnd, cReportFile);
  dup2(mLifeline.readEnd, cLifelineFile);
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments)
    argv.push_back(argument.data());
  argv.push_back(nullptr);
  execv(LIPC::platform::executablePath().c_str(), argv.data());
  std::perror("lipc: the check cannot be started");
  _exit(EXIT_FAILURE);
}

std::vector<std::string> ChildProcess::read(std::chrono::milliseconds time) {
  pollfd ends[] = {{mReport.readEnd, POLLIN, 0}, {mPrinted.readEnd, POLLIN, 0}};
  poll(ends, 2, static_cast<int>(time.count()));
  // A bounded number, so that one who never stops printing does not hold this up.
  for (int i = 0; i < cMostReads; ++i) {
    const std::string printed = readSome(mPrinted.readEnd);
    const std::string reported = readSome(mReport.readEnd);
    if (printed.empty() && reported.empty()) break;
    mUnread += reported;
    mOutput += printed;
    if (mOutput.size() > cMostOutput) mOutput.erase(0, mOutput.size() - cMostOutput);
  }
  std::vector<std::string> lines;
  for (std::size_t end; (end = mUnread.find('\n')) != std::string::npos;) {
    lines.push_back(mUnread.substr(0, end));
    mUnread.erase(0, end + 1);
  }
  return lines;
}

std::optional<int> ChildProcess::ended() {
  int status = 0;
  if (!mStatus && waitpid(mPid, &status, WNOHANG) == mPid) mStatus = status;
  return mStatus;
}

bool ChildProcess::killGroup() {
  return kill(-mPid, SIGKILL) == 0;
}

bool followTheCommand() {
  if (getpgrp() != getpid()) return false;
  for (const int file : {cReportFile, cLifelineFile}) {
    if (fcntl(file, F_SETFD, FD_CLOEXEC) < 0) return false;
  }
  std::thread([] {
    char nothing = 0;
    while (::read(cLifelineFile, &nothing, 1) < 0 && errno == EINTR) {
    }
    kill(0, SIGKILL);
  }).detach();
  return true;
}

}  // namespace tools::validate
