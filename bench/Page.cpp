// SPDX-License-Identifier: BSL-1.0
#include "bench/Page.h"

#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace bench {
namespace {

/// The ratios that are above their goals, as a list.
std::string missedGoals(const Table& table) {
  std::string text;
  for (const Verdict& verdict : table.verdicts()) {
    if (verdict.isMet()) continue;
    char line[200];
    std::snprintf(line, sizeof line, "- `%s`: %.2f, goal %.2f", verdict.row.c_str(), verdict.median,
                  verdict.goal->goal);
    text += line;
    if (verdict.goal->kept > 0.0) {
      std::snprintf(line, sizeof line, ", kept %.2f", verdict.goal->kept);
      text += line;
    }
    text += "\n";
  }
  return text.empty() ? "All goals are met.\n" : "Not met:\n\n" + text;
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
    char line[200];
    std::snprintf(line, sizeof line, "lost: %s: %.2f, where %.2f is %s (spread %.2f)\n",
                  verdict.row.c_str(), verdict.median, verdict.goal->limit(),
                  verdict.goal->limit() > verdict.goal->goal ? "kept" : "the goal", verdict.spread);
    text += line;
  }
  if (!isWhole) return text;
  for (const Goal* goal : table.goalsWithoutRow())
    text += "not measured: " + goal->name + "\n";
  return text;
}

}  // namespace bench
