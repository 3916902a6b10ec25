// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/Goals.h"

namespace bench {

/// A ratio that is held to a goal, or a time where the goal is one.
///
/// Its spread is the distance from the lower to the upper quartile of the passes' values: of five
/// passes, from the second lowest to the second highest. One pass that was disturbed does not widen
/// it; of one pass alone it is zero. Lost is what misses by more than that: the median is above the
/// goal, or above what is kept where that is more, and above it by more than the spread.
struct Verdict {
  std::string row;
  const Goal* goal;
  double median;
  double spread;

  bool isMet() const { return median <= goal->goal; }
  bool isLost() const { return median - spread > goal->limit(); }
  /// One of its numbers, in the goal's unit.
  std::string text(double value) const;
};

/// Collects the runs of all passes and makes tables in Markdown of them: of each comparison the
/// median over the passes, and the ratio's lowest and highest.
class Table final : public benchmark::BenchmarkReporter {
 public:
  explicit Table(const Goals& goals) : mGoals(goals) {}

  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override;
  /// Adds the row "mean/KIND": the mean of the medians of a kind that was measured whole. One
  /// value: it has no spread.
  void addMean(const std::string& kind);

  /// All tables, with a heading each. `isShort`: of the operations on vectors one row a size.
  std::string tables(bool isShort) const;
  /// Of every measured row that has a goal.
  std::vector<Verdict> verdicts() const;
  /// True where one of them is lost, and where there is none.
  bool hasLost() const;
  /// The goals that no measured row fits.
  std::vector<const Goal*> goalsWithoutRow() const;
  /// Whether a run could not measure what it should.
  bool hasErrors() const { return mHasErrors; }

 private:
  struct Row {
    std::vector<double> byHand;
    std::vector<double> library;
    std::vector<double> ratios;
    std::vector<double> firstNS;
    std::vector<double> faults;
  };
  using NamedRow = std::pair<std::string, const Row*>;

  static Verdict judge(const std::string& name, const Row& row, const Goal& goal);
  std::vector<NamedRow> rowsOf(const std::string& kind) const;
  std::string comparison(const std::string& kind, const char* subject) const;
  std::string vectorsBySize() const;
  std::string firstBlocks() const;

  const Goals& mGoals;
  std::vector<std::string> mOrder;   // of the names, as they first came
  std::map<std::string, Row> mRows;  // by "kind/size"
  bool mHasErrors = false;
};

}  // namespace bench
