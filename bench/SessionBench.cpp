// SPDX-License-Identifier: BSL-1.0

// What a session costs beside the calls: a host and a client that have nothing to do, and the
// host's cycle for clients of which each hears the one before it.
//
//   idle      processor time of a second, beside a thread that wakes as often as the other must:
//             every 100 ms for the heartbeat, every 500 ms for the client's pass. Both sides run at
//             a time.
//   cycle     the host process's time for a block of every client, sent in time from one thread
//             here; beside a process that does the same copies by hand (ChainByHand) in its own
//             session with such clients.
//   capacity  how many such clients are all answered in time for a second, as the time that each
//             has then: a block's length by their number. Both threads have a core each to
//             themselves, so a machine that is busy beside shows less.
#include <memory>
#include <thread>

#include "bench/ChainByHand.h"
#include "bench/Comparison.h"
#include "bench/Part.h"
#include "bench/World.h"
#include "lipc/client/Client.h"

namespace bench {
namespace {

using namespace std::chrono_literals;

constexpr int cRate = 48000;
constexpr auto cSettling = 1500ms;  // the joins' work is over
constexpr auto cIdle = 3s;

template <class Register>
void addOnce(const std::string& name, Register body) {
  benchmark::RegisterBenchmark(name.c_str(), body)->UseManualTime()->Iterations(1);
}

void idle(benchmark::State& state, bool isClient) {
  endWorld();
  const auto host = std::make_unique<Part>(std::vector<std::string>{"host"});
  std::unique_ptr<Part> client;
  if (isClient) client = std::make_unique<Part>(std::vector<std::string>{"client", "bench-idle"});
  Part sleeper({"sleeper", isClient ? "500" : "100"});
  Part& library = isClient ? *client : *host;
  std::this_thread::sleep_for(cSettling);
  const double hand = sleeper.processorNS();
  const double own = library.processorNS();
  for ([[maybe_unused]] auto once : state) {
    std::this_thread::sleep_for(cIdle);
    state.SetIterationTime(1.0);
  }
  constexpr double seconds = std::chrono::duration<double>(cIdle).count();
  state.counters[cByHand] = (sleeper.processorNS() - hand) / seconds;
  state.counters[cLibrary] = (library.processorNS() - own) / seconds;
}

class ChainClient final : public LIPC::Client {
 public:
  ChainClient(int number, unsigned channels)
      : Client(static_cast<int>(LIPC::fourCharacterCode("BNCH")), "Chain") {
    const std::string id = ChainByHand::idOf(number);
    setAutoConnectLoopDurationMS(500);
    configBeginEdit();
    configSetMode(
        static_cast<LIPC::eClientMode>(LIPC::eClientModeInputs | LIPC::eClientModeOutputs));
    configSetClientID(id.c_str());
    configSetIOChannelCount(static_cast<int>(channels), static_cast<int>(channels));
    if (number > 0) {
      const std::string before = ChainByHand::idOf(number - 1);
      LIPC::Connection& wires = configEditConnection(LIPC::ClientID(before), LIPC::ClientID(id));
      for (unsigned c = 0; c < channels; ++c)
        wires.addWire(static_cast<int>(c), static_cast<int>(c));
    }
    configEndEdit();
    startLIPCSession(0);
  }
  ~ChainClient() override { stopLIPCSession(); }
};

/// Clients in a row, all of them joined.
class Chain {
 public:
  Chain(int clients, unsigned channels) {
    for (int i = 0; i < clients; ++i)
      mClients.push_back(std::make_unique<ChainClient>(i, channels));
    for (const auto& client : mClients) {
      while (!client->isConnected())
        std::this_thread::sleep_for(1ms);
    }
    std::this_thread::sleep_for(cSettling);
  }
  /// All at a time: a leave waits for the host.
  ~Chain() {
    std::vector<std::thread> leaving;
    for (const auto& client : mClients)
      leaving.emplace_back([&client] { client->stopLIPCSession(); });
    for (std::thread& leave : leaving)
      leave.join();
  }
  Chain(const Chain&) = delete;
  Chain& operator=(const Chain&) = delete;

  /// A block of each client; how many of those that hear another were answered by silence.
  int round(Caller& caller, const Size& size, long long timeStamp) {
    int silent = 0;
    for (const auto& client : mClients) {
      caller.refill();
      client->processLIPC(caller.channels.data(), size.samples, static_cast<int>(size.channels), 0,
                          timeStamp, caller.parameters.data(), cParameters, caller.returned.data(),
                          cParameters, false);
      if (client != mClients.front() && !caller.hasAnswer()) ++silent;
    }
    return silent;
  }

 private:
  std::vector<std::unique_ptr<ChainClient>> mClients;
};

/// When the n-th block is due.
Clock::time_point dueTime(Clock::time_point start, long long n, const Size& size) {
  return start + std::chrono::nanoseconds(1'000'000'000LL * n * size.samples / cRate);
}

/// Nanoseconds of the part for a block of each client; 0 when more than a tenth of the answers was
/// silent: a machine that is busy beside has some.
double timeOfRound(Part& part, const Size& size, int clients) {
  constexpr int cLeadIn = 20;
  const int rounds = cRate / size.samples;
  Chain chain(clients, size.channels);
  const auto start = Clock::now();
  double before = 0.0;
  int silent = 0;
  Caller caller(size.channels, size.samples);
  for (int round = 0; round < cLeadIn + rounds; ++round) {
    if (round == cLeadIn) before = part.processorNS();
    const int missed = chain.round(caller, size, 1LL * (round + 100) * size.samples);
    if (round >= cLeadIn) silent += missed;
    std::this_thread::sleep_until(dueTime(start, round + 1, size));
  }
  const double used = part.processorNS() - before;
  return silent <= rounds * clients / 10 ? used / rounds : 0.0;
}

/// Whether all are answered in each round of one second out of five.
bool carries(const Size& size, int clients) {
  constexpr int cSeconds = 5, cLeadIn = 20;
  const int rounds = cRate / size.samples;
  Chain chain(clients, size.channels);
  Caller caller(size.channels, size.samples);
  const auto start = Clock::now();
  long long n = 0;
  for (int second = 0; second < cSeconds; ++second) {
    int silent = 0;
    for (int round = -cLeadIn; round < rounds; ++round, ++n) {
      const int missed = chain.round(caller, size, (n + 100) * size.samples);
      if (round >= 0) silent += missed;
      std::this_thread::sleep_until(dueTime(start, n + 1, size));
    }
    // Nor may the caller have fallen behind.
    if (silent == 0 && Clock::now() < dueTime(start, n + 1, size)) return true;
  }
  return false;
}

/// Nanoseconds that a block has at the greatest number of clients that is carried; 0 where none is.
template <class Start>
double timeAtCapacity(const Size& size, Start startPart) {
  for (const int clients : {768, 576, 384, 192, 96, 48}) {
    const std::unique_ptr<Part> part = startPart(clients);
    if (carries(size, clients)) return 1e9 * size.samples / cRate / clients;
  }
  return 0.0;
}

void capacity(benchmark::State& state, const Size& size) {
  endWorld();
  compare(
      state,
      [&](auto& results) {
        results.push_back(timeAtCapacity(size, [&](int clients) {
          return std::make_unique<Part>(
              std::vector<std::string>{"mixer", std::to_string(size.channels),
                                       std::to_string(size.samples), std::to_string(clients)});
        }));
      },
      [&](auto& results) {
        results.push_back(timeAtCapacity(
            size, [](int) { return std::make_unique<Part>(std::vector<std::string>{"host"}); }));
      });
}

void cycle(benchmark::State& state, const Size& size, int clients) {
  endWorld();
  compare(
      state,
      [&](auto& results) {
        Part mixer({"mixer", std::to_string(size.channels), std::to_string(size.samples),
                    std::to_string(clients)});
        results.push_back(timeOfRound(mixer, size, clients));
      },
      [&](auto& results) {
        Part host({"host"});
        results.push_back(timeOfRound(host, size, clients));
        if (results.back() <= 0.0) state.SkipWithError("the host does not answer in time");
      });
}

}  // namespace

void registerSession() {
  addOnce("idle/host", [](auto& state) { idle(state, false); });
  addOnce("idle/client", [](auto& state) { idle(state, true); });
  for (const auto& [size, clients] :
       {std::pair{Size{2, 64}, 8}, {Size{2, 64}, 48}, {Size{16, 256}, 8}, {Size{16, 256}, 48}}) {
    addOnce("cycle/" + size.text() + ", " + std::to_string(clients) + " clients",
            [size = size, clients = clients](auto& state) { cycle(state, size, clients); });
  }
  addOnce("capacity/2 x 64", [](auto& state) { capacity(state, Size{2, 64}); });
}

}  // namespace bench
