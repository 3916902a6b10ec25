// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <memory>
#include <vector>

#include "tools/top/TopView.h"

namespace tools {

/// The terminal as a screen, for as long as the object lives; then it is as it was before. Signals
/// that ask the process to end are caught meanwhile, and told by isOver(). One at a time, on one
/// thread.
class TopScreen {
 public:
  /// Null where standard input and output are no terminal, or one that cannot place a character.
  static std::unique_ptr<TopScreen> open();
  ~TopScreen();
  TopScreen(const TopScreen&) = delete;
  TopScreen& operator=(const TopScreen&) = delete;

  void show(TopView& view);
  /// The next key; none when the time is over, the size of the terminal changed, or isOver().
  eTopKey wait(std::chrono::milliseconds limit);
  /// A signal asked for the end, or the terminal is gone.
  bool isOver() const;

 private:
  struct Terminal;

  explicit TopScreen(std::unique_ptr<Terminal> terminal);

  std::unique_ptr<Terminal> mTerminal;
  bool mIsHungUp = false;
};

/// Whether the locale that was set is UTF-8.
bool isLocaleUTF8();

}  // namespace tools
