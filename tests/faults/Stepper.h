#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <sys/types.h>

#include "tests/support/Process.h"

namespace faults {

/// What counts as a step of a process.
struct Steps {
  const char* thread;         // of threads with this name, cut to 15 bytes; empty: of all
  const char* opens;          // from where a path that begins so is opened; empty: from the start
  bool areInstructions = {};  // of the thread that got there; otherwise system calls
};

/// A program that waits before its first instruction until `go`, in a process group of its own.
class HeldProcess {
 public:
  explicit HeldProcess(std::vector<std::string> arguments);
  void go() { mProcess->send("go"); }
  support::Process& operator*() { return *mProcess; }
  support::Process* operator->() { return mProcess.get(); }
  pid_t pid() const { return mPid; }

 private:
  std::unique_ptr<support::Process> mProcess;
  pid_t mPid;
};

/// Traces all threads of a process, counts its steps and kills it at one of them. Used by the
/// thread that started the process.
class Stepper {
 public:
  Stepper(pid_t pid, const Steps& steps);

  /// Lets the process run and kills it: at the entry of its `last`-th step, or when `isOver` says
  /// so, which is asked while nothing happens. Returns the number of steps it came to. The process
  /// is left for its starter to wait for.
  long killAt(long last, const std::function<bool()>& isOver, std::chrono::milliseconds limit);

 private:
  void handleStop(pid_t thread, int status, long last);
  void countSystemCall(pid_t thread);
  bool counts(pid_t thread);

  const pid_t mPid;
  const Steps mSteps;
  long mCount = 0;
  bool mStarted = false;
  pid_t mStepping = 0;        // the thread that goes on by instructions
  std::set<pid_t> mCounting;  // threads that are known to count
};

}  // namespace faults
