// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace bench {

/// Collects the runs of all passes and prints them as tables in Markdown: of each comparison the
/// median over the passes, and the ratio's lowest and highest.
class Table final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;
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

  void printComparison(const std::string& kind, const char* title,
                       const char* subject = "Channels x samples");
  void printFirstBlocks();
  std::vector<std::pair<std::string, const Row*>> rowsOf(const std::string& kind) const;

  std::vector<std::string> mOrder;   // of the names, as they first came
  std::map<std::string, Row> mRows;  // by "kind/size"
  bool mHasErrors = false;
};

}  // namespace bench
