// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include <fmt/core.h>

#include "tools/ExitStatus.h"

namespace tools {

/// A command that cannot do what it was asked for: the sentence for standard error, and the exit
/// status. Thrown by subcommands, said by main.
class Failure final : public std::runtime_error {
 public:
  template <class... Values>
  explicit Failure(eExitStatus status, fmt::format_string<Values...> format, Values&&... values)
      : std::runtime_error(fmt::format(format, std::forward<Values>(values)...)), mStatus(status) {}

  eExitStatus status() const { return mStatus; }

 private:
  eExitStatus mStatus;
};

}  // namespace tools
