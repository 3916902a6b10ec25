// SPDX-License-Identifier: BSL-1.0
#include "bench/Table.h"

#include <algorithm>
#include <cstdio>

#include "bench/Comparison.h"
#include "bench/Machine.h"

namespace bench {
namespace {

/// What a ratio is meant to stay below; 0 where there is no goal.
double goalOf(const std::string& name) {
  if (name == "alone/16 x 256") return 1.10;
  if (name == "alone/2 x 256") return 1.25;
  if (name == "looking/16 x 256") return 1.15;
  const auto isOf = [&](const char* kind) { return name.rfind(kind, 0) == 0; };
  if (isOf("one core/")) return 1.20;
  if (isOf("vectors/")) return 1.20;
  if (isOf("RMS/4 x ")) return 1.05;
  if (isOf("RMS/")) return 0.60;
  if (isOf("peak/")) return 1.30;
  if (isOf("lookup ")) return 1.10;
  return 0.0;
}

/// Behind the point: a call of some nanoseconds wants one.
int digitsOf(const std::vector<double>& values) {
  return median(values) < 20.0 ? 1 : 0;
}

std::string judgement(double ratio, double goal) {
  if (goal == 0.0) return "";
  char text[32];
  std::snprintf(text, sizeof text, "%.2f: %s", goal, ratio <= goal ? "met" : "missed");
  return text;
}

}  // namespace

bool Table::ReportContext(const Context&) {
  GetOutputStream() << describeMachine() << std::flush;
  return true;
}

void Table::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    const std::string& name = run.run_name.function_name;
    const auto valueOf = [&](const char* key) {
      const auto found = run.counters.find(key);
      return found != run.counters.end() ? found->second.value : 0.0;
    };
    const auto [place, isNew] = mRows.try_emplace(name);
    if (isNew) mOrder.push_back(name);
    Row& row = place->second;
    if (valueOf(cByHand) > 0.0 && valueOf(cLibrary) > 0.0) {
      row.byHand.push_back(valueOf(cByHand));
      row.library.push_back(valueOf(cLibrary));
      row.ratios.push_back(valueOf(cLibrary) / valueOf(cByHand));
    } else if (valueOf("first_ns") > 0.0) {
      row.firstNS.push_back(valueOf("first_ns"));
      row.faults.push_back(valueOf("faults"));
    } else {
      mHasErrors = true;
      GetErrorStream() << name << ": " << run.error_message << "\n";
    }
  }
}

void Table::Finalize() {
  printComparison("vectors", "Vectors", "Operation and samples");
  printComparison("RMS", "RMS of all channels");
  printComparison("peak", "Peak of all channels");
  printComparison("dB", "256 levels", "Conversion");
  printComparison("lookup warm", "The last of 1024 rows by its ID, in the caches", "Other rows");
  printComparison("lookup cold", "The last of 1024 rows by its ID, out of the caches",
                  "Other rows");
  printComparison("alone", "One call, nobody on the other side");
  printComparison("looking", "One call, the host looks on the other core");
  printComparison("asleep", "One call, the host sleeps on the other core");
  printComparison("one core", "Round trip, one core");
  printComparison("two cores", "Round trip, two cores, everybody looks");
  printComparison("idle", "Nothing to do: processor time of a second");
  printComparison("cycle", "The host's cycle: processor time for a block of every client");
  printFirstBlocks();
}

std::vector<std::pair<std::string, const Table::Row*>> Table::rowsOf(
    const std::string& kind) const {
  std::vector<std::pair<std::string, const Row*>> found;
  for (const std::string& name : mOrder) {
    if (name.rfind(kind + "/", 0) == 0) {
      found.emplace_back(name.substr(kind.size() + 1), &mRows.at(name));
    }
  }
  return found;
}

void Table::printComparison(const std::string& kind, const char* title, const char* subject) {
  const auto rows = rowsOf(kind);
  if (rows.empty()) return;
  std::printf("\n%s\n\n", title);
  std::printf("| %s | by hand, ns | library, ns | ratio | lowest to highest | goal |\n", subject);
  std::printf("|---|---:|---:|---:|---:|---|\n");
  for (const auto& [size, row] : rows) {
    if (row->ratios.empty()) continue;
    const double ratio = median(row->ratios);
    const auto [low, high] = std::minmax_element(row->ratios.begin(), row->ratios.end());
    std::printf("| %s | %.*f | %.*f | %.2f | %.2f to %.2f | %s |\n", size.c_str(),
                digitsOf(row->byHand), median(row->byHand), digitsOf(row->library),
                median(row->library), ratio, *low, *high,
                judgement(ratio, goalOf(kind + "/" + size)).c_str());
  }
}

void Table::printFirstBlocks() {
  const auto rows = rowsOf("first");
  if (rows.empty()) return;
  std::printf("\nThe first blocks after a join\n\n");
  std::printf("| Channels x samples | first block, ns | page faults of twelve blocks |\n");
  std::printf("|---|---:|---:|\n");
  for (const auto& [size, row] : rows) {
    std::printf("| %s | %.0f | %.0f |\n", size.c_str(), median(row->firstNS), median(row->faults));
  }
}

}  // namespace bench
