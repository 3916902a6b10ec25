#pragma once

#include <climits>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <system_error>

#include <sched.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace faults {

/// What counts as a step of a process.
struct Steps {
  const char* thread;         // of threads with this name, cut to 15 bytes; empty: of all
  const char* opens;          // from where a path that begins so is opened; empty: from the start
  bool areInstructions = {};  // of the thread that got there; otherwise system calls
};

/// Traces all threads of a process, counts its steps and kills it at one of them. The process leads
/// a process group. Used by the thread that started the process.
class Stepper {
 public:
  Stepper(pid_t pid, const Steps& steps) : mPid(pid), mSteps(steps) {
    constexpr long options =
        PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
    for (const auto& task : std::filesystem::directory_iterator(proc("task"))) {
      const pid_t thread = std::stoi(task.path().filename());
      if (ptrace(PTRACE_SEIZE, thread, nullptr, options) != 0 ||
          ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(), "ptrace");
      }
    }
  }

  /// Lets the process run and kills it: at the entry of its `last`-th step, after 30 s, or when
  /// `isOver` says so, which is asked while nothing happens. Returns the number of steps it came
  /// to. Its end is left for its starter to wait for.
  long killAt(long last, const std::function<bool()>& isOver) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    bool killed = false;
    for (int idle = 0;;) {
      const bool isTimeToAsk = idle % cIdleLooks == cIdleLooks - 1;
      if (!killed && (mCount >= last || std::chrono::steady_clock::now() > deadline ||
                      (isTimeToAsk && isOver()))) {
        kill(mPid, SIGKILL);
        killed = true;
      }
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
      waitpid(info.si_pid, &status, __WALL);
      if (!killed && WIFSTOPPED(status)) handleStop(info.si_pid, status, last);
    }
  }

 private:
  static constexpr int cIdleLooks = 200;
  static constexpr int cSystemCallStop = SIGTRAP | 0x80;

  /// Counts the stop and lets the thread go on, unless this is the step to be killed at.
  void handleStop(pid_t thread, int status, long last) {
    const int signal = WSTOPSIG(status);
    if (signal == cSystemCallStop) countSystemCall(thread);
    if (signal == SIGTRAP && thread == mStepping) ++mCount;
    if (mCount >= last) return;
    const bool isTheirs = status >> 16 == 0 && signal != cSystemCallStop && signal != SIGTRAP;
    ptrace(thread == mStepping ? PTRACE_SINGLESTEP : PTRACE_SYSCALL, thread, nullptr,
           isTheirs ? signal : 0);
  }

  void countSystemCall(pid_t thread) {
    __ptrace_syscall_info call{};
    ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof call, &call);
    if (call.op != PTRACE_SYSCALL_INFO_ENTRY || !counts(thread)) return;
    if (!mStarted) {
      mStarted =
          mSteps.opens[0] == '\0' || (call.entry.nr == SYS_openat && isWanted(call.entry.args[1]));
      if (mStarted && mSteps.areInstructions) mStepping = thread;
    }
    if (mStarted && !mSteps.areInstructions) ++mCount;
  }

  bool isWanted(std::uint64_t path) const {
    std::string found = mSteps.opens;
    std::ifstream(proc("mem"))
        .seekg(static_cast<std::streamoff>(path))
        .read(found.data(), static_cast<std::streamsize>(found.size()));
    return found == mSteps.opens;
  }

  bool counts(pid_t thread) {
    if (mSteps.thread[0] == '\0' || mCounting.count(thread) != 0) return true;
    std::string name;
    std::getline(std::ifstream(proc("task/" + std::to_string(thread) + "/comm")), name);
    if (name == mSteps.thread) mCounting.insert(thread);
    return name == mSteps.thread;
  }

  std::string proc(const std::string& file) const {
    return "/proc/" + std::to_string(mPid) + "/" + file;
  }

  const pid_t mPid;
  const Steps mSteps;
  long mCount = 0;
  bool mStarted = false;
  pid_t mStepping = 0;        // the thread that goes on by instructions
  std::set<pid_t> mCounting;  // threads that are known to count
};

}  // namespace faults
