// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/Measure.h"

namespace bench {

/// Names of the values that a comparison reports, in nanoseconds.
inline constexpr char cByHand[] = "by_hand_ns";
inline constexpr char cLibrary[] = "library_ns";

struct Size {
  unsigned channels = 0;
  int samples = 0;
  std::string text() const { return std::to_string(channels) + " x " + std::to_string(samples); }
};

/// Lets the two sides take turns, so that both meet the same noise of the machine, and each side be
/// first every other time. A side takes a vector and appends what it measured, in nanoseconds; the
/// result is the median.
template <class Hand, class Library>
void compare(benchmark::State& state, Hand hand, Library library) {
  std::vector<double> byHand;
  std::vector<double> byLibrary;
  bool isHandFirst = true;
  for ([[maybe_unused]] auto round : state) {
    if (isHandFirst) hand(byHand);
    library(byLibrary);
    if (!isHandFirst) hand(byHand);
    isHandFirst = !isHandFirst;
    state.SetIterationTime(byLibrary.back() * 1e-9);
  }
  state.counters[cByHand] = median(byHand);
  state.counters[cLibrary] = median(byLibrary);
}

// The benchmarks of one pass and size, registered with Google Benchmark.

/// What a client itself does in a join beside the same segments and semaphores made by hand.
void registerJoin(unsigned channels);
/// The first blocks after a join: time and page faults.
void registerFirstBlocks(int pass, unsigned channels);
/// A call beside the same work by hand: alone, beside a host that looks, beside one that sleeps.
void registerCalls(int pass, const Size& size);
/// A host and a client that have nothing to do; the host's cycle for clients in a row, and for how
/// many it is in time.
void registerSession();
/// Client, host, client beside a ping-pong: on one core, on two.
void registerRoundTrips(int pass, const Size& size);
/// Vectors, meters, dB and the lookup of an ID. None where the processor lacks AVX2, in which the
/// work by hand is compiled.
void registerKernels();

}  // namespace bench
