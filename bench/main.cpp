// SPDX-License-Identifier: BSL-1.0

// lipc_bench [--passes=N] [Google Benchmark's options]
//
// Prints tables of ratios; see docs/performance.md. The raw values: --benchmark_out=FILE. A pass
// makes every size once, each number of channels with segments of its own; five are the default.
// Started with "peer" as its first argument it is the other side of an exchange, with "part" a
// process of a session whose processor time counts.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "bench/Comparison.h"
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
      bench::registerFirstBlocks(pass, channels);
      for (const int samples : cSamples) {
        bench::registerCalls(pass, {channels, samples});
        bench::registerRoundTrips(pass, {channels, samples});
      }
    }
    bench::registerSession();
  }
}

/// Takes --passes=N out of the arguments.
int passesOf(int& argc, char** argv) {
  constexpr char cOption[] = "--passes=";
  int passes = 5;
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], cOption, sizeof cOption - 1) == 0) {
      passes = std::atoi(argv[i] + sizeof cOption - 1);
    } else {
      argv[kept++] = argv[i];
    }
  }
  argc = kept;
  argv[argc] = nullptr;
  return passes;
}

int benchmarkAll(int argc, char** argv) {
  const int passes = passesOf(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  if (std::getenv("LIPC_TEST_SANDBOX") == nullptr && host::isSessionAlive()) {
    std::fprintf(stderr,
                 "A session is alive on this machine: the benchmarks do not start over it.\n");
    return 1;
  }
  registerAll(passes);
  bench::Table table;
  benchmark::RunSpecifiedBenchmarks(&table);
  bench::endWorld();
  return table.hasErrors() ? 1 : 0;
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
