// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/validate/Run.h"

/// What a run of checks says to people and to machines.
namespace tools::validate {

struct Report {
  std::string library;
  std::vector<Result> results;
  bool isWhole = false;  // all checks were run
  double seconds = 0;

  std::size_t count(eOutcome outcome) const;
  bool isCertified() const { return isWhole && count(eOutcome::eFailed) == 0; }
};

const char* outcomeWord(eOutcome outcome);

/// A check's line and what there is to say of it, at most 80 wide where the words allow, with the
/// last line feed.
std::string resultText(const Result& result, bool hasColours);
/// The last sentence.
std::string verdictText(const Report& report);
nlohmann::ordered_json reportJson(const Report& report);
/// JUnit XML. What XML cannot hold is replaced.
std::string reportJUnit(const Report& report);

}  // namespace tools::validate
