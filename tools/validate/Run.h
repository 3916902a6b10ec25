// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/validate/Checks.h"

/// The side of the command: each check in a child process, which may end in any way.
namespace tools::validate {

enum class eOutcome { ePassed, eFailed, eSkipped };

struct Result {
  const Check* check = nullptr;
  eOutcome outcome = eOutcome::eSkipped;
  double seconds = 0;
  std::string evidence;  // what was seen, or why it was skipped; texts of the library may be in it
  std::string advice;
  std::vector<std::string> notes;
  std::string output;         // the last of what the check's process printed
  bool isUnloadable = false;  // no other check makes sense
  bool endedInOrder = false;  // false: it may have left a session
};

/// The run cannot go on; the text is a sentence.
struct CannotGoOn {
  int exitStatus;
  std::string reason;
};

struct RunOptions {
  std::string library;
  int times;
  double callSeconds;
  /// Called with what the check is about to do.
  std::function<void(const std::string&)> progress;
  bool (*isInterrupted)();
};

/// Runs one check. Nothing when it was interrupted. Throws CannotGoOn, and what `progress` throws;
/// the child is gone in each case.
std::optional<Result> runCheck(const Check& check, const RunOptions& options);

}  // namespace tools::validate
