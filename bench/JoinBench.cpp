// SPDX-License-Identifier: BSL-1.0

// A client's own work in a join beside what no join can do without (HandJoin): the processor time
// of the joining thread, so that the host's share, which it sleeps through, does not count. As many
// channels in as out. The host is the reference host, in this process.

#include <ctime>
#include <thread>

#include "bench/Comparison.h"
#include "bench/HandJoin.h"
#include "bench/Measure.h"
#include "bench/World.h"

namespace bench {
namespace {

constexpr int cTurns = 20;
constexpr int cAttempts = 1000;

double threadNanoseconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

/// A client that joins when it is told to, on the thread that tells it.
class Joiner final : public LIPC::Client {
 public:
  explicit Joiner(unsigned channels)
      : Client(static_cast<int>(LIPC::fourCharacterCode("BNCH")), "BenchJoiner") {
    configBeginEdit();
    configSetMode(
        static_cast<LIPC::eClientMode>(LIPC::eClientModeInputs | LIPC::eClientModeOutputs));
    configSetClientID("BenchJoiner");
    configSetIOChannelCount(static_cast<int>(channels), static_cast<int>(channels));
    configEndEdit();
  }
  ~Joiner() override { leave(); }

  /// Appends what the attempt took that succeeded. The lock is given back shortly after the answer
  /// to the leave before, so the first may come too early.
  bool join(std::vector<double>& results) {
    for (int attempt = 0; attempt < cAttempts; ++attempt) {
      const double start = threadNanoseconds();
      tryConnectWithoutLock();
      results.push_back(threadNanoseconds() - start);
      if (isConnected()) return true;
      if (attempt + 1 < cAttempts) results.pop_back();
      deleteManagedPtrs();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
  }
  void leave() {
    if (isConnected()) disconnectWithoutLock();
  }
};

void joins(benchmark::State& state, unsigned channels) {
  startHost();
  Joiner joiner(channels);
  bool hasJoined = true;
  const auto byHand = [&](std::vector<double>& results) {
    const double start = threadNanoseconds();
    const HandJoin hand(channels);
    results.push_back(threadNanoseconds() - start);
  };
  const auto byLibrary = [&](std::vector<double>& results) {
    hasJoined = joiner.join(results) && hasJoined;
    joiner.leave();
  };
  std::vector<double> unused;
  byHand(unused);
  byLibrary(unused);
  const Pinned pinned(Cores::find().client);
  compare(state, byHand, byLibrary);
  if (!hasJoined) state.SkipWithError("the client does not join");
}

}  // namespace

void registerJoin(unsigned channels) {
  const std::string count = std::to_string(channels);
  benchmark::RegisterBenchmark(("join/" + count + " / " + count).c_str(),
                               [=](auto& state) { joins(state, channels); })
      ->UseManualTime()
      ->Iterations(cTurns);
}

}  // namespace bench
