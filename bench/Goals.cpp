// SPDX-License-Identifier: BSL-1.0
#include "bench/Goals.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace bench {
namespace {

constexpr std::string_view cTimeUnit = " ns";

std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

bool fits(const std::string& name, const std::string& row) {
  if (name.back() != '*') return name == row;
  return row.starts_with(name.substr(0, name.size() - 1));
}

/// Throws std::exception for what is no number above 0.
double numberOf(const std::string& text) {
  std::size_t end = 0;
  const double number = std::stod(text, &end);
  if (end != text.size() || !(number > 0.0)) throw std::invalid_argument(text);
  return number;
}

Goal parse(const std::string& line) {
  std::istringstream fields(line);
  std::string name, goal, kept, reason;
  std::getline(fields, name, '|');
  std::getline(fields, goal, '|');
  std::getline(fields, kept, '|');
  std::getline(fields, reason);
  name = trimmed(name);
  goal = trimmed(goal);
  kept = trimmed(kept);
  if (name.empty()) throw std::invalid_argument("no name");
  const bool isTime = goal.ends_with(cTimeUnit);
  if (isTime) goal.resize(goal.size() - cTimeUnit.size());
  return {name, numberOf(goal), kept.empty() ? 0.0 : numberOf(kept), isTime, trimmed(reason)};
}

}  // namespace

Goals::Goals(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path + " cannot be read");
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    line = trimmed(line);
    if (line.empty() || line.front() == '#') continue;
    try {
      mGoals.push_back(parse(line));
    } catch (const std::exception&) {
      throw std::runtime_error(path + ", line " + std::to_string(number) +
                               ": NAME | GOAL | KEPT | REASON expected, not: " + line);
    }
  }
}

const Goal* Goals::find(const std::string& row) const {
  const auto found = std::find_if(mGoals.begin(), mGoals.end(),
                                  [&](const Goal& goal) { return fits(goal.name, row); });
  return found != mGoals.end() ? &*found : nullptr;
}

}  // namespace bench
