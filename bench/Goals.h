// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace bench {

/// What a row is meant to stay below.
struct Goal {
  std::string name;  // of a row, or with "*" at its end of all that begin so
  double goal = 0.0;
  double kept = 0.0;    // what was reached above the goal; 0: the goal is what is kept
  bool isTime = false;  // both are the library's own nanoseconds, not the ratio
  std::string reason;   // in a few words

  double limit() const { return std::max(goal, kept); }
};

/// The goals that are kept in the file bench/goals, which says what a line means.
class Goals {
 public:
  /// Throws std::runtime_error, which names the line, for a file that is none.
  explicit Goals(const std::string& path);

  /// The first that fits a row's name; null when none does.
  const Goal* find(const std::string& row) const;
  const std::vector<Goal>& all() const { return mGoals; }

 private:
  std::vector<Goal> mGoals;
};

}  // namespace bench
