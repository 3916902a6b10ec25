#pragma once

#include <string>

namespace tools {

/// Watching a session takes seconds: a line on standard error says how far it is, where that is a
/// terminal, and goes when it is done. Ctrl-C and SIGTERM end the watching.
///
/// Threads: one; one object at a time.
class Progress {
 public:
  /// "Watching the session"
  explicit Progress(std::string what);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// `part`: what is done, 0 to 1. False when a signal asked for the end.
  bool operator()(double part);

 private:
  const std::string mWhat;
  const bool mIsShown;
};

}  // namespace tools
