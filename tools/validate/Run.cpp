// SPDX-License-Identifier: BSL-1.0
#include "tools/validate/Run.h"

#include <algorithm>
#include <csignal>
#include <utility>

#include <fmt/core.h>
#include <nlohmann/json.hpp>
#include <sys/wait.h>

#include "tools/validate/ChildProcess.h"

namespace tools::validate {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// From the process's begin to its first word, and from its last word to its end.
constexpr milliseconds cOwnTime(10'000);

std::string signalName(int signal) {
  constexpr std::pair<int, const char*> cNames[] = {
      {SIGHUP, "SIGHUP"},   {SIGINT, "SIGINT"},   {SIGQUIT, "SIGQUIT"}, {SIGILL, "SIGILL"},
      {SIGTRAP, "SIGTRAP"}, {SIGABRT, "SIGABRT"}, {SIGBUS, "SIGBUS"},   {SIGFPE, "SIGFPE"},
      {SIGKILL, "SIGKILL"}, {SIGSEGV, "SIGSEGV"}, {SIGSYS, "SIGSYS"},   {SIGPIPE, "SIGPIPE"},
      {SIGALRM, "SIGALRM"}, {SIGTERM, "SIGTERM"}, {SIGXCPU, "SIGXCPU"}};
  const auto* const found = std::ranges::find(cNames, signal, &std::pair<int, const char*>::first);
  return found == std::end(cNames) ? fmt::format("signal {}", signal)
                                   : fmt::format("signal {} ({})", signal, found->second);
}

/// Follows one child to its end.
class Follower {
 public:
  Follower(const Check& check, const RunOptions& options) : mOptions(options) {
    mResult.check = &check;
  }

  /// False: interrupted.
  bool follow(ChildProcess& child) {
    constexpr milliseconds cLook(50);
    for (;;) {
      if (mOptions.isInterrupted()) return false;
      const auto status = child.ended();
      for (const std::string& line : child.read(status ? milliseconds(0) : cLook))
        hear(line);
      if (status) {
        judgeEnd(*status);
        if (child.killGroup())
          failFirst("it left a process behind, which was ended.", "Wait for what it starts.");
        return true;
      }
      if (steady_clock::now() < mDeadline) continue;
      failFirst(
          fmt::format("did not come back from {} within {} s.", mStep, mAllowed.count() / 1000.0),
          "Attach a debugger, or raise --timeout where it is only slow.");
      return true;
    }
  }

  Result take(const std::string& output, double seconds) {
    mResult.output = output;
    mResult.seconds = seconds;
    return std::move(mResult);
  }

 private:
  void hear(const std::string& line) {
    const auto word = nlohmann::json::parse(line, nullptr, false);
    if (!word.is_object()) return;
    if (word.contains("step")) {
      mStep = word.value("step", "");
      allow(milliseconds(word.value("allowedMS", 0)));
      mOptions.progress(mStep);
    } else if (word.contains("note")) {
      mResult.notes.push_back(word.value("note", ""));
    } else if (word.contains("result")) {
      hearResult(word);
    }
  }

  void hearResult(const nlohmann::json& word) {
    const std::string result = word.value("result", "");
    const std::string evidence = word.value("evidence", "");
    if (result == "impossible") throw CannotGoOn{word.value("status", 1), evidence};
    if (result == "failed" || result == "unloadable") {
      failFirst(evidence, word.value("advice", ""));
      mResult.isUnloadable = result == "unloadable";
      return;
    }
    mHasResult = true;
    mResult.outcome = result == "passed" ? eOutcome::ePassed : eOutcome::eSkipped;
    mResult.evidence = evidence;
    mStep = "the end of the check's process";
    allow(cOwnTime);
  }

  void judgeEnd(int status) {
    mResult.endedInOrder = mHasResult && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (mResult.endedInOrder) return;
    if (WIFSIGNALED(status)) {
      failFirst(fmt::format("ended by {} in {}.", signalName(WTERMSIG(status)), mStep),
                "Run the check in a debugger: lipc validate --only " +
                    std::string(mResult.check->name) + ".");
    } else {
      failFirst(fmt::format("called exit({}) in {}.", WEXITSTATUS(status), mStep),
                "Report failures to the host; only the host ends its process.");
    }
  }

  /// What failed first counts: the rest follows from it.
  void failFirst(const std::string& evidence, const std::string& advice) {
    mHasResult = true;
    if (mResult.outcome == eOutcome::eFailed) return;
    mResult.outcome = eOutcome::eFailed;
    mResult.evidence = evidence;
    mResult.advice = advice;
  }

  void allow(milliseconds time) {
    mAllowed = time;
    mDeadline = steady_clock::now() + time;
  }

  const RunOptions& mOptions;
  Result mResult;
  bool mHasResult = false;
  std::string mStep = "the begin of the check's process";
  milliseconds mAllowed = cOwnTime;
  steady_clock::time_point mDeadline = steady_clock::now() + cOwnTime;
};

}  // namespace

std::optional<Result> runCheck(const Check& check, const RunOptions& options) {
  const auto start = steady_clock::now();
  ChildProcess child({"lipc", "validate", "--check", check.name, "--times",
                      std::to_string(options.times), "--timeout",
                      fmt::format("{}", options.callSeconds), "--", options.library});
  Follower follower(check, options);
  if (!follower.follow(child)) return std::nullopt;
  return follower.take(child.output(),
                       std::chrono::duration<double>(steady_clock::now() - start).count());
}

}  // namespace tools::validate
