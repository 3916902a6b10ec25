#include "tests/faults/Stepper.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <sched.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace faults {
namespace {

using Steady = std::chrono::steady_clock;

constexpr int cSystemCallStop = SIGTRAP | 0x80;
constexpr int cIdleLooks = 200;

std::string taskFile(pid_t pid, pid_t thread, const char* file) {
  return "/proc/" + std::to_string(pid) + "/task/" + std::to_string(thread) + "/" + file;
}

bool beginsWith(pid_t pid, std::uint64_t address, const std::string& text) {
  std::ifstream memory(taskFile(pid, pid, "mem"), std::ios::binary);
  std::string found(text.size(), '\0');
  memory.seekg(static_cast<std::streamoff>(address));
  memory.read(found.data(), static_cast<std::streamsize>(found.size()));
  return found == text;
}

}  // namespace

HeldProcess::HeldProcess(std::vector<std::string> arguments) {
  const char* held = R"(echo $$; read -r go; exec "$0" "$@")";
  arguments.insert(arguments.begin(), {"/usr/bin/env", "setsid", "/bin/sh", "-c", held});
  mProcess = std::make_unique<support::Process>(std::move(arguments));
  if (!mProcess->waitForLine("", std::chrono::seconds(10))) std::abort();
  mPid = std::atoi(mProcess->line().c_str());
}

Stepper::Stepper(pid_t pid, const Steps& steps) : mPid(pid), mSteps(steps) {
  constexpr long options =
      PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
  const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
  for (const auto& task : std::filesystem::directory_iterator(tasks)) {
    const pid_t thread = std::stoi(task.path().filename());
    if (ptrace(PTRACE_SEIZE, thread, nullptr, options) != 0 ||
        ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr) != 0) {
      throw std::system_error(errno, std::generic_category(), "ptrace");
    }
  }
}

long Stepper::killAt(long last, const std::function<bool()>& isOver,
                     std::chrono::milliseconds limit) {
  const auto deadline = Steady::now() + limit;
  bool killed = false;
  for (int idle = 0;;) {
    const bool isTimeToAsk = idle % cIdleLooks == cIdleLooks - 1;
    if (!killed && (mCount >= last || Steady::now() > deadline || (isTimeToAsk && isOver()))) {
      kill(mPid, SIGKILL);
      killed = true;
    }
    // Looks before it takes: the end of the process is its starter's to take.
    siginfo_t info{};
    const int found = waitid(P_PGID, static_cast<id_t>(mPid), &info,
                             WEXITED | WSTOPPED | WNOWAIT | WNOHANG | __WALL);
    const bool isEnd = info.si_code != CLD_TRAPPED && info.si_code != CLD_STOPPED;
    if (found != 0 || (info.si_pid == mPid && isEnd)) return mCount;
    if (info.si_pid == 0) {
      ++idle < cIdleLooks ? sched_yield() : usleep(50);
      continue;
    }
    idle = 0;
    int status = 0;
    if (waitpid(info.si_pid, &status, __WALL) != info.si_pid || !WIFSTOPPED(status)) continue;
    if (!killed) handleStop(info.si_pid, status, last);
  }
}

/// Counts the stop and lets the thread go on, unless this is the step to be killed at.
void Stepper::handleStop(pid_t thread, int status, long last) {
  const int signal = WSTOPSIG(status);
  const bool isEvent = status >> 16 != 0;
  if (signal == cSystemCallStop) {
    countSystemCall(thread);
  } else if (signal == SIGTRAP && thread == mStepping) {
    ++mCount;
  }
  if (mCount >= last) return;
  const bool isTheirs = !isEvent && signal != cSystemCallStop && signal != SIGTRAP;
  const auto how = thread == mStepping ? PTRACE_SINGLESTEP : PTRACE_SYSCALL;
  ptrace(how, thread, nullptr, isTheirs ? signal : 0);
}

void Stepper::countSystemCall(pid_t thread) {
  __ptrace_syscall_info call{};
  ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof call, &call);
  if (call.op != PTRACE_SYSCALL_INFO_ENTRY || !counts(thread)) return;
  if (!mStarted) {
    const std::string opens = mSteps.opens;
    mStarted = opens.empty() ||
               (call.entry.nr == SYS_openat && beginsWith(mPid, call.entry.args[1], opens));
    if (mStarted && mSteps.areInstructions) mStepping = thread;
  }
  if (mStarted && !mSteps.areInstructions) ++mCount;
}

bool Stepper::counts(pid_t thread) {
  const std::string wanted = mSteps.thread;
  if (wanted.empty() || mCounting.count(thread) != 0) return true;
  std::string name;
  std::getline(std::ifstream(taskFile(mPid, thread, "comm")), name);
  if (name != wanted) return false;
  mCounting.insert(thread);
  return true;
}

}  // namespace faults
