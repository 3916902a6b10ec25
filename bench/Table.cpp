// SPDX-License-Identifier: BSL-1.0
#include "bench/Table.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "bench/Comparison.h"

namespace bench {
namespace {

struct Section {
  const char* kind;
  const char* title;
  const char* subject;
};

// clang-format off
constexpr Section cSections[] = {
  {"vectors",     "Vectors",                                         "Operation and samples"},
  {"mean",        "All operations and sizes together",               "Mean of"},
  {"RMS",         "RMS of all channels",                             "Channels x samples"},
  {"peak",        "Peak of all channels",                            "Channels x samples"},
  {"dB",          "256 levels",                                      "Conversion"},
  {"lookup warm", "The last of 1024 rows by its ID, in the caches",  "Other rows"},
  {"lookup cold", "The last of 1024 rows by its ID, out of the caches", "Other rows"},
  {"join",        "A client's own work in a join",                   "Channels in / out"},
  {"alone",       "One call, nobody on the other side",              "Channels x samples"},
  {"looking",     "One call, the host looks on the other core",      "Channels x samples"},
  {"asleep",      "One call, the host sleeps on the other core",     "Channels x samples"},
  {"one core",    "Round trip, one core",                            "Channels x samples"},
  {"two cores",   "Round trip, two cores, everybody looks",          "Channels x samples"},
  {"idle",        "Nothing to do: processor time of a second",       "Who"},
  {"cycle",       "The host's cycle: processor time for a block of every client", "Clients, channels x samples"},
  {"capacity",    "The most clients whose blocks are all answered in time: a block's length by their number", "Channels x samples"},
};
// clang-format on

__attribute__((format(printf, 1, 2))) std::string formatted(const char* format, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return text;
}

/// Behind the point: a call of some nanoseconds wants one.
int digitsOf(const std::vector<double>& values) {
  return median(values) < 20.0 ? 1 : 0;
}

/// From the lower to the upper quartile, which are values themselves.
double spreadOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t last = values.size() - 1;
  return values[last - last / 4] - values[last / 4];
}

}  // namespace

std::string Verdict::text(double value) const {
  return goal->isTime ? formatted("%.0f ns", value) : formatted("%.2f", value);
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

void Table::addMean(const std::string& kind) {
  const std::vector<NamedRow> rows = rowsOf(kind);
  if (rows.empty()) return;
  Row& all = mRows["mean/" + kind];
  for (const auto values : {&Row::byHand, &Row::library, &Row::ratios}) {
    double sum = 0.0;
    for (const auto& [name, row] : rows)
      sum += median(row->*values);
    (all.*values).push_back(sum / static_cast<double>(rows.size()));
  }
  mOrder.push_back("mean/" + kind);
}

std::vector<Table::NamedRow> Table::rowsOf(const std::string& kind) const {
  std::vector<NamedRow> found;
  for (const std::string& name : mOrder) {
    if (name.starts_with(kind + "/")) {
      found.emplace_back(name.substr(kind.size() + 1), &mRows.at(name));
    }
  }
  return found;
}

Verdict Table::judge(const std::string& name, const Row& row, const Goal& goal) {
  const std::vector<double>& values = goal.isTime ? row.library : row.ratios;
  return {name, &goal, median(values), spreadOf(values)};
}

std::vector<Verdict> Table::verdicts() const {
  std::vector<Verdict> all;
  for (const std::string& name : mOrder) {
    const Row& row = mRows.at(name);
    const Goal* goal = mGoals.find(name);
    if (goal != nullptr && !row.ratios.empty()) all.push_back(judge(name, row, *goal));
  }
  return all;
}

bool Table::hasLost() const {
  const std::vector<Verdict> all = verdicts();
  return all.empty() || std::any_of(all.begin(), all.end(),
                                    [](const Verdict& verdict) { return verdict.isLost(); });
}

std::vector<const Goal*> Table::goalsWithoutRow() const {
  const std::vector<Verdict> measured = verdicts();
  std::vector<const Goal*> missing;
  for (const Goal& goal : mGoals.all()) {
    const auto isOfIt = [&](const Verdict& verdict) { return verdict.goal == &goal; };
    if (std::none_of(measured.begin(), measured.end(), isOfIt)) missing.push_back(&goal);
  }
  return missing;
}

std::string Table::tables(bool isShort) const {
  std::string text;
  for (const Section& section : cSections) {
    if (rowsOf(section.kind).empty()) continue;
    const bool isVectors = section.kind == std::string("vectors");
    text += formatted("\n### %s\n\n", section.title);
    text += isVectors && isShort ? vectorsBySize() : comparison(section.kind, section.subject);
  }
  return text + firstBlocks();
}

std::string Table::comparison(const std::string& kind, const char* subject) const {
  std::string text =
      formatted("| %s | by hand, ns | library, ns | ratio | lowest to highest | goal |\n", subject);
  text += "|---|---:|---:|---:|---:|---|\n";
  for (const auto& [size, row] : rowsOf(kind)) {
    if (row->ratios.empty()) continue;
    const auto [low, high] = std::minmax_element(row->ratios.begin(), row->ratios.end());
    text += formatted("| %s | %.*f | %.*f | %.2f | %.2f to %.2f |", size.c_str(),
                      digitsOf(row->byHand), median(row->byHand), digitsOf(row->library),
                      median(row->library), median(row->ratios), *low, *high);
    if (const Goal* goal = mGoals.find(kind + "/" + size); goal != nullptr) {
      const Verdict verdict = judge(size, *row, *goal);
      text += " " + verdict.text(goal->goal) + (verdict.isMet() ? ": met" : ": missed");
    }
    text += " |\n";
  }
  return text;
}

std::string Table::vectorsBySize() const {
  struct Summary {
    int count = 0;
    double sum = 0.0;
    double worst = 0.0;
    std::string which;
  };
  std::map<int, Summary> sizes;
  for (const auto& [name, row] : rowsOf("vectors")) {
    if (row->ratios.empty()) continue;
    const std::size_t space = name.rfind(' ');
    Summary& size = sizes[std::stoi(name.substr(space + 1))];
    const double ratio = median(row->ratios);
    ++size.count;
    size.sum += ratio;
    if (ratio > size.worst) {
      size.worst = ratio;
      size.which = name.substr(0, space);
    }
  }
  std::string text =
      "| Samples | operations | mean ratio | worst | of |\n|---:|---:|---:|---:|---|\n";
  for (const auto& [samples, size] : sizes)
    text += formatted("| %d | %d | %.2f | %.2f | `%s` |\n", samples, size.count,
                      size.sum / size.count, size.worst, size.which.c_str());
  return text;
}

std::string Table::firstBlocks() const {
  const auto rows = rowsOf("first");
  if (rows.empty()) return {};
  std::string text =
      "\n### The first blocks after a join\n\n"
      "| Channels x samples | first block, ns | page faults of twelve blocks |\n|---|---:|---:|\n";
  for (const auto& [size, row] : rows) {
    text += formatted("| %s | %.0f | %.0f |\n", size.c_str(), median(row->firstNS),
                      median(row->faults));
  }
  return text;
}

}  // namespace bench
