// SPDX-License-Identifier: BSL-1.0

// One call of processLIPC beside the same work written by hand (HandWritten): the same bytes
// through memcpy, one try and two posts of named semaphores.
//
//   alone    nobody on the other side. Batches of 48 calls, timed as a whole; the benchmark plays
//            the host by one store of a byte after each call, on both sides, so that every call
//            finds the answer to the block of four blocks ago and copies it out. What was announced
//            is taken between the batches, outside the time.
//   looking  a peer process on the other core copies each block back. It looks for 50 us before it
//            sleeps, and the next block comes 2 us after its answer, so it is never asleep. Single
//            calls, timed one by one, less what the clock takes.
//   asleep   the same with a peer that sleeps at once, and a block every 200 us: every post wakes.
//
// Both sides trade with the same caller's buffers through the same memory, the client's own rings:
// six slices in rotation each way, as many channels out as in, 172 parameters each way. Beside a
// living host the side that is not measured has its peer asleep.

#include <memory>

#include "bench/Comparison.h"
#include "bench/Peer.h"
#include "bench/World.h"

namespace bench {
namespace {

using std::chrono::microseconds;

constexpr int cBatch = 48;  // fits the queue of 63
constexpr int cWarmUpCalls = 12;

template <class Side>
void exchangeBatch(Side& side, Caller& caller, std::vector<double>& results) {
  const auto start = Clock::now();
  for (int call = 0; call < cBatch; ++call) {
    side.exchange(caller);
    side.answer();
  }
  results.push_back(nanoseconds(Clock::now() - start) / cBatch);
  side.drain();
}

void callAlone(benchmark::State& state, int pass, const Size& size) {
  World& world = worldOf(pass, size.channels);
  const Pinned pinned(Cores::find().client);
  Caller caller(size.channels, size.samples);
  world.hand.drain();
  world.client.drain();
  std::vector<double> unused;
  for (int i = 0; i < 2; ++i) {
    exchangeBatch(world.hand, caller, unused);
    exchangeBatch(world.client, caller, unused);
  }
  compare(
      state, [&](auto& results) { exchangeBatch(world.hand, caller, results); },
      [&](auto& results) { exchangeBatch(world.client, caller, results); });
  if (!caller.hasAnswer()) state.SkipWithError("the calls did not copy an answer");
}

struct Pace {
  microseconds look;   // of the peer, before it sleeps
  microseconds pause;  // between an answer and the next block
  int timedCalls;      // of one turn
};

/// False when the peer does not answer.
template <class Side>
bool waitForAnswer(Side& side) {
  constexpr int cLooksPerClock = 64;
  const auto end = Clock::now() + std::chrono::seconds(5);
  do {
    for (int look = 0; look < cLooksPerClock; ++look) {
      if (side.isAnswered()) return true;
      relax();
    }
  } while (Clock::now() < end);
  return false;
}

/// One side's turn beside its peer. The first calls, which wake the peer, are not counted.
template <class Side>
bool exchangeAtPace(Side& side, Caller& caller, const Pace& pace, double clock,
                    std::vector<double>& results) {
  for (int call = -cWarmUpCalls; call < pace.timedCalls; ++call) {
    if (call <= 0) caller.refill();
    const auto start = Clock::now();
    side.exchange(caller);
    const double taken = nanoseconds(Clock::now() - start) - clock;
    if (call >= 0) results.push_back(taken);
    if (!waitForAnswer(side)) return false;
    spinFor(pace.pause);
  }
  spinFor(2 * pace.look);  // until the peer sleeps and leaves the core to the other side's
  return true;
}

void callBesidePeer(benchmark::State& state, int pass, const Size& size, const Pace& pace) {
  World& world = worldOf(pass, size.channels);
  world.hand.restart();
  world.client.drain();
  const Cores cores = Cores::find();
  const Peer echo({"echo", cores.other, pace.look}, [&] { world.client.wakePeer(); });
  const Peer handPeer({"hand", cores.other, pace.look, size.channels, size.samples},
                      [&] { world.hand.wakePeer(); });
  const Pinned pinned(cores.client);
  Caller caller(size.channels, size.samples);
  const double clock = clockCost();
  bool isAnswered = true;
  compare(
      state,
      [&](auto& results) {
        isAnswered = exchangeAtPace(world.hand, caller, pace, clock, results) && isAnswered;
      },
      [&](auto& results) {
        isAnswered = exchangeAtPace(world.client, caller, pace, clock, results) && isAnswered;
      });
  if (!isAnswered) state.SkipWithError("a peer did not answer");
  if (!caller.hasAnswer()) state.SkipWithError("the calls did not copy an answer");
}

/// As many turns as take about a tenth of a second.
int turnsOf(const Size& size) {
  const double callNS = 100.0 + 0.4 * size.channels * size.samples;
  return std::clamp(static_cast<int>(1e8 / (2 * cBatch * callNS)), 40, 4000);
}

benchmark::internal::Benchmark* add(const char* kind, const Size& size,
                                    std::function<void(benchmark::State&)> body) {
  return benchmark::RegisterBenchmark((std::string(kind) + "/" + size.text()).c_str(),
                                      std::move(body))
      ->UseManualTime();
}

}  // namespace

void registerFirstBlocks(int pass, unsigned channels) {
  add("first", Size{channels, 256}, [=](benchmark::State& state) {
    const JoinedClient& client = worldOf(pass, channels).client;
    for ([[maybe_unused]] auto once : state)
      state.SetIterationTime(client.firstBlockNS() * 1e-9);
    state.counters["first_ns"] = client.firstBlockNS();
    state.counters["faults"] = static_cast<double>(client.pageFaults());
  })->Iterations(1);
}

void registerCalls(int pass, const Size& size) {
  add("alone", size, [=](auto& state) { callAlone(state, pass, size); })->Iterations(turnsOf(size));
  constexpr Pace looking{microseconds(50), microseconds(2), 32};
  add("looking", size, [=](auto& state) {
    callBesidePeer(state, pass, size, looking);
  })->Iterations(40);
  constexpr Pace asleep{microseconds(0), microseconds(200), 16};
  add("asleep", size, [=](auto& state) {
    callBesidePeer(state, pass, size, asleep);
  })->Iterations(10);
}

}  // namespace bench
