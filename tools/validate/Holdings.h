// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <map>
#include <set>
#include <string>

#include "lipc/util/platform/SelfPlatform.h"
#include "tools/validate/Checks.h"

namespace tools::validate {

/// What this process holds of the system, and the machine's named semaphores.
struct Holdings {
  static Holdings now();

  /// What is here and was not `before`, a phrase a kind; empty when nothing is.
  std::string beyond(const Holdings& before) const;
  /// What the system cannot list, a word a kind; empty when it lists everything.
  std::string unknown() const;

  LIPC::platform::Listing threads, files, segments;
  std::set<std::string> semaphores;
};

/// Waits for up to a second until there is nothing beyond `before`. Returns what there is then.
std::string leftBeyond(Context& context, const Holdings& before);
/// The same for threads alone.
std::string threadsBeyond(Context& context, const Holdings& before);

}  // namespace tools::validate
