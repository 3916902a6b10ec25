// SPDX-License-Identifier: BSL-1.0

// The round trip client, host, client beside a bare ping-pong over two named semaphores that moves
// the same bytes: into a segment, by the peer into another, and out again.
//
//   client  processLIPC copies the block in, announces it and posts; the echo host takes the queue,
//           copies, sets `ready`; the client looks for `ready`. The copy out is that of the block
//           of four blocks ago, which the same call makes: each round moves as many bytes.
//   hand    copy in, post, the peer copies and posts, wait, copy out.
//
//   one core   both processes on one core. Whoever waits gives the core away: the peers and the
//              hand's client sleep on a semaphore; the library's client, which has no semaphore to
//              wait for, yields between two looks.
//   two cores  a core each; both sides and both peers look instead of sleeping (up to 50 us).
//
// Batches of 32 rounds, timed as a whole.

#include "bench/Comparison.h"
#include "bench/Peer.h"
#include "bench/World.h"

namespace bench {
namespace {

using std::chrono::microseconds;

constexpr int cBatch = 32;
constexpr int cMostLooks = 20'000'000;  // then the peer is taken for dead

struct Place {
  bool isOneCore;
  microseconds look;
};

/// False when the host does not answer.
bool roundTrip(JoinedClient& client, Caller& caller, bool isOneCore) {
  client.exchange(caller);
  for (int look = 0; look < cMostLooks; ++look) {
    if (client.isAnswered()) return true;
    if (isOneCore) {
      sched_yield();
    } else {
      relax();
    }
  }
  return false;
}

bool roundTrip(HandWritten& hand, Caller& caller, bool isOneCore) {
  hand.roundTrip(caller, !isOneCore);
  return true;
}

template <class Side>
bool tripBatch(Side& side, Caller& caller, const Place& place, std::vector<double>& results) {
  constexpr int cWarmUpRounds = 8;
  for (int round = 0; round < cWarmUpRounds; ++round) {
    caller.refill();
    if (!roundTrip(side, caller, place.isOneCore)) return false;
  }
  const auto start = Clock::now();
  for (int round = 0; round < cBatch; ++round) {
    if (!roundTrip(side, caller, place.isOneCore)) return false;
  }
  results.push_back(nanoseconds(Clock::now() - start) / cBatch);
  spinFor(2 * place.look);  // until the peer sleeps
  return true;
}

void trips(benchmark::State& state, int pass, const Size& size, const Place& place) {
  World& world = worldOf(pass, size.channels);
  world.hand.restart();
  world.client.drain();
  const Cores cores = Cores::find();
  const int peerCore = place.isOneCore ? cores.client : cores.other;
  const Peer echo({"echo", peerCore, place.look}, [&] { world.client.wakePeer(); });
  const Peer pong({"pong", peerCore, place.look, size.channels, size.samples},
                  [&] { world.hand.wakePeer(); });
  const Pinned pinned(cores.client);
  Caller caller(size.channels, size.samples);
  bool isAnswered = true;
  std::vector<double> unused;
  isAnswered = tripBatch(world.hand, caller, place, unused) &&
               tripBatch(world.client, caller, place, unused);
  compare(
      state,
      [&](auto& results) {
        isAnswered = isAnswered && tripBatch(world.hand, caller, place, results);
      },
      [&](auto& results) {
        isAnswered = isAnswered && tripBatch(world.client, caller, place, results);
        if (!isAnswered) results.push_back(0.0);
      });
  if (!isAnswered) state.SkipWithError("the host does not answer");
  if (!caller.hasAnswer()) state.SkipWithError("the calls did not copy an answer");
}

void add(const char* kind, int pass, const Size& size, const Place& place) {
  benchmark::RegisterBenchmark((std::string(kind) + "/" + size.text()).c_str(),
                               [=](auto& state) { trips(state, pass, size, place); })
      ->UseManualTime()
      ->Iterations(60);
}

}  // namespace

void registerRoundTrips(int pass, const Size& size) {
  add("one core", pass, size, {true, microseconds(0)});
  add("two cores", pass, size, {false, microseconds(50)});
}

}  // namespace bench
