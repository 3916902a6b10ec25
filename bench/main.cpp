// SPDX-License-Identifier: BSL-1.0

// lipc_bench [--passes=N] [--check | --page] [Google Benchmark's options]
//
// Prints tables of ratios; see docs/performance.md. The raw values: --benchmark_out=FILE. A pass
// makes every size once, each number of channels with segments of its own; five are the default.
//
//   --check  compares with bench/goals besides and ends with 1 where a ratio is lost (Table.h says
//            what that is); each is named on standard error, and so is a goal that no row met. Of
//            one pass alone it is strict: there is no spread.
//   --page   prints docs/performance.md as this run makes it, instead of the tables.
//
// Started with "peer" as its first argument it is the other side of an exchange, with "part" a
// process of a session whose processor time counts.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "bench/Comparison.h"
#include "bench/Goals.h"
#include "bench/Machine.h"
#include "bench/Page.h"
#include "bench/Part.h"
#include "bench/Peer.h"
#include "bench/Table.h"
#include "bench/World.h"
#include "host/DeadSession.h"

namespace {

constexpr unsigned cChannels[] = {2, 16, 64};
constexpr int cSamples[] = {64, 256, 1024};

void registerAll(int passes) {
  for (int pass = 0; pass < passes; ++pass) {
    bench::registerKernels();
    for (const unsigned channels : cChannels) {
      bench::registerJoin(channels);
      bench::registerFirstBlocks(pass, channels);
      for (const int samples : cSamples) {
        bench::registerCalls(pass, {channels, samples});
        bench::registerRoundTrips(pass, {channels, samples});
      }
    }
    bench::registerSession();
  }
}

struct Options {
  int passes = 5;
  bool isCheck = false;
  bool isPage = false;
  bool isWhole = true;  // nothing is filtered
};

/// Takes its own options out of the arguments.
Options optionsOf(int& argc, char** argv) {
  constexpr char cPasses[] = "--passes=";
  constexpr char cFilter[] = "--benchmark_filter=";
  const auto begins = [](const char* text, const char* with) {
    return std::strncmp(text, with, std::strlen(with)) == 0;
  };
  Options options;
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    if (begins(argv[i], cPasses)) {
      options.passes = std::atoi(argv[i] + sizeof cPasses - 1);
    } else if (std::strcmp(argv[i], "--check") == 0) {
      options.isCheck = true;
    } else if (std::strcmp(argv[i], "--page") == 0) {
      options.isPage = true;
    } else {
      if (begins(argv[i], cFilter)) options.isWhole = false;
      argv[kept++] = argv[i];
    }
  }
  argc = kept;
  argv[argc] = nullptr;
  return options;
}

int benchmarkAll(int argc, char** argv) {
  const Options options = optionsOf(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  if (std::getenv("LIPC_TEST_SANDBOX") == nullptr && host::isSessionAlive()) {
    std::fprintf(stderr,
                 "A session is alive on this machine: the benchmarks do not start over it.\n");
    return 1;
  }
  const bench::Goals goals(BENCH_FOLDER "/goals");
  const std::string machine = bench::describeMachine();
  registerAll(options.passes);
  bench::Table table(goals);
  benchmark::RunSpecifiedBenchmarks(&table);
  if (options.isWhole && !table.hasErrors()) table.addMean("vectors");
  bench::endWorld();
  const std::string text = options.isPage
                               ? bench::makePage(BENCH_FOLDER "/performance.md.in", machine, table)
                               : machine + table.tables(false);
  std::fputs(text.c_str(), stdout);
  if (!options.isCheck) return table.hasErrors() ? 1 : 0;
  std::fputs(bench::complaints(table, options.isWhole).c_str(), stderr);
  return table.hasErrors() || table.hasLost() ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    bench::Peer::msProgram = argv[0];
    if (argc > 1 && std::strcmp(argv[1], "peer") == 0) {
      return bench::Peer::run({argv + 2, argv + argc});
    }
    if (argc > 1 && std::strcmp(argv[1], "part") == 0)
      return bench::Part::run({argv + 2, argv + argc});
    return benchmarkAll(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "lipc_bench: %s\n", error.what());
    return 1;
  }
}
