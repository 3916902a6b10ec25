// SPDX-License-Identifier: BSL-1.0
#include "bench/Page.h"

#include <fstream>
#include <stdexcept>

namespace bench {
namespace {

/// What is above its goal, as a list.
std::string missedGoals(const Table& table) {
  std::string text;
  for (const Verdict& verdict : table.verdicts()) {
    if (verdict.isMet()) continue;
    const Goal& goal = *verdict.goal;
    text += "- `" + verdict.row + "`: " + verdict.text(verdict.median) + " where the goal is " +
            verdict.text(goal.goal);
    if (goal.kept > 0.0) text += " and " + verdict.text(goal.kept) + " is kept";
    text += ": " + goal.reason + "\n";
  }
  return text.empty() ? "All goals are met.\n" : text;
}

}  // namespace

std::string makePage(const std::string& templatePath, const std::string& machine,
                     const Table& table) {
  std::ifstream file(templatePath);
  if (!file) throw std::runtime_error(templatePath + " cannot be read");
  std::string page;
  for (std::string line; std::getline(file, line);) {
    if (line == "@machine@") {
      page += machine;
    } else if (line == "@missed@") {
      page += missedGoals(table);
    } else if (line == "@tables@") {
      page += table.tables(true).substr(1);  // begins with an empty line
    } else {
      page += line + "\n";
    }
  }
  return page;
}

std::string complaints(const Table& table, bool isWhole) {
  std::string text;
  for (const Verdict& verdict : table.verdicts()) {
    if (!verdict.isLost()) continue;
    const Goal& goal = *verdict.goal;
    text += "lost: " + verdict.row + ": " + verdict.text(verdict.median) + " (spread " +
            verdict.text(verdict.spread) + "), where " + verdict.text(goal.limit()) +
            (goal.limit() > goal.goal ? " is kept\n" : " is the goal\n");
  }
  if (!isWhole) return text;
  for (const Goal* goal : table.goalsWithoutRow())
    text += "not measured: " + goal->name + "\n";
  return text;
}

}  // namespace bench
