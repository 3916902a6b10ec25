// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <string>

/// The words of a check's process to the command that started it: one JSON object a line.
namespace tools::validate {

/// In a check's process: where the words go, and what ends when the command does.
inline constexpr int cReportFile = 3;
inline constexpr int cLifelineFile = 4;

/// Thrown by `Reporter::fail` and `skip` when their word is said.
struct CheckEnded {};

/// Says what the check is about to do before it does it, so that it is known of a process that came
/// to an end on the way. Words are said at once.
///
/// Threads: the check's own.
class Reporter {
 public:
  /// `what` completes "it ended in ...": a function's name, or "the wait for ...". `allowed`: after
  /// that time the command ends the process.
  void step(const std::string& what, std::chrono::milliseconds allowed);
  void note(const std::string& text);
  void pass();
  /// `evidence` says what was seen and what should have been, `advice` what to do: sentences.
  [[noreturn]] void fail(const std::string& evidence, const std::string& advice);
  /// This one and all that need the file's code.
  [[noreturn]] void failUnloadable(const std::string& evidence, const std::string& advice);
  [[noreturn]] void skip(const std::string& reason);
  /// Not the library's fault, and the end of the whole run with this exit status.
  [[noreturn]] void giveUp(int exitStatus, const std::string& reason);
};

}  // namespace tools::validate
