// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <functional>
#include <system_error>

#include <sched.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>

#include "tests/support/Process.h"

namespace faults {

/// Traces all threads of a process and kills it at one of its steps: at the entry of a system call,
/// or between instructions. The process leads a process group. Used by the thread that started it.
class Stepper {
 public:
  /// Steps count from where a path that begins with `from` is opened, or a thread of that name does
  /// anything; with "" from the start. By instructions they are those of the thread that got there,
  /// otherwise those of all threads.
  Stepper(pid_t pid, const char* from, bool byInstructions)
      : mPid(pid), mFrom(from), mByInstructions(byInstructions) {
    constexpr long options =
        PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
    for (const auto& task : std::filesystem::directory_iterator(mProc + "task")) {
      const pid_t thread = std::stoi(task.path().filename());
      if (ptrace(PTRACE_SEIZE, thread, nullptr, options) != 0 ||
          ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr) != 0)
        throw std::system_error(errno, std::generic_category(), "ptrace");
    }
  }

  /// Lets the process run and kills it: at its `last`-th step, after 30 s, or when `isOver` says
  /// so, which is asked while nothing happens. Returns the number of steps it came to. Its end is
  /// left for its starter to wait for.
  long killAt(long last, const std::function<bool()>& isOver) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    for (int idle = 0;;) {
      if (std::chrono::steady_clock::now() > deadline || (idle == cIdleLooks && isOver())) last = 0;
      if (mCount >= last) kill(mPid, SIGKILL);
      idle = idle == cIdleLooks ? 0 : idle + 1;
      siginfo_t info{};
      const int found = waitid(P_PGID, static_cast<id_t>(mPid), &info,
                               WEXITED | WSTOPPED | WNOWAIT | WNOHANG | __WALL);
      const bool isEnd = info.si_code != CLD_TRAPPED && info.si_code != CLD_STOPPED;
      if (found != 0 || (info.si_pid == mPid && isEnd)) return mCount;
      int status = 0;
      if (info.si_pid == 0) {
        sched_yield();
      } else if (waitpid(info.si_pid, &status, __WALL) > 0 && WIFSTOPPED(status)) {
        idle = 0;
        handleStop(info.si_pid, status, last);
      }
    }
  }

 private:
  static constexpr int cIdleLooks = 200;

  /// Counts the stop and lets the thread go on, unless this is the step to be killed at.
  void handleStop(pid_t thread, int status, long last) {
    const int signal = WSTOPSIG(status);
    const bool isSystemCall = signal == (SIGTRAP | 0x80);
    if (isSystemCall ? isStep(thread) : signal == SIGTRAP && thread == mStepping) ++mCount;
    if (mCount >= last) return;
    const bool isTheirs = status >> 16 == 0 && !isSystemCall && signal != SIGTRAP;
    ptrace(thread == mStepping ? PTRACE_SINGLESTEP : PTRACE_SYSCALL, thread, nullptr,
           isTheirs ? signal : 0);
  }

  /// Whether a system call counts; it may be the one from which steps do.
  bool isStep(pid_t thread) {
    __ptrace_syscall_info call{};
    ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof call, &call);
    if (call.op != PTRACE_SYSCALL_INFO_ENTRY) return false;
    if (!mStarted) {
      std::string path(mFrom.size(), '\0'), name;
      std::getline(std::ifstream(mProc + "task/" + std::to_string(thread) + "/comm"), name);
      if (call.entry.nr == SYS_openat)
        std::ifstream(mProc + "mem")
            .seekg(static_cast<std::streamoff>(call.entry.args[1]))
            .read(path.data(), static_cast<std::streamsize>(path.size()));
      mStarted = path == mFrom || name == mFrom;
      if (mStarted && mByInstructions) mStepping = thread;
    }
    return mStarted && !mByInstructions;
  }

  const pid_t mPid;
  const std::string mFrom;
  const bool mByInstructions;
  const std::string mProc = "/proc/" + std::to_string(mPid) + "/";
  long mCount = 0;
  bool mStarted = false;
  pid_t mStepping = 0;  // the thread that goes on by instructions
};

}  // namespace faults
