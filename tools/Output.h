// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/core.h>

#include "tools/CommandName.h"

namespace tools {

/// Standard output that cannot be written; the text is a whole sentence. A reader that closed its
/// end of a pipe has seen enough: that is an end without a word.
class OutputError final : public std::runtime_error {
 public:
  /// `error`: the system's.
  explicit OutputError(int error);
  bool isWorthSaying() const { return mIsWorthSaying; }

 private:
  bool mIsWorthSaying;
};

/// Prints on standard output at once. Throws OutputError.
void print(std::string_view text);

/// Says a sentence of the command on standard error, with its commands as they can be pasted. When
/// that fails nothing is left to say it on.
template <class... Values>
void complain(fmt::format_string<Values...> format, Values&&... values) {
  const std::string text = fmt::format(format, std::forward<Values>(values)...);
  std::fputs(("lipc: " + asCalled(text) + "\n").c_str(), stderr);
}

/// The output of a command that runs for long. What loaded libraries print on standard output goes
/// to standard error meanwhile, so that a reader of the output gets the picture and nothing else.
///
/// Threads: one at a time.
class Output {
 public:
  /// Throws std::runtime_error when standard output is closed.
  Output();
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// A line, at once. After a failure nothing more is written.
  void print(const std::string& text);
  /// True when nobody reads any more: the reader closed its end, or a print failed.
  bool isOver() const;
  /// To sleep until it is over (WakeUp).
  int descriptor() const { return fileno(mFile); }
  /// Why a print failed, where that is worth a word; else empty.
  const std::string& failure() const { return mFailure; }

 private:
  std::FILE* mFile;
  bool mHasFailed = false;
  std::string mFailure;
};

}  // namespace tools
