// A participant in a process of its own, for tests that kill it or spoil what it shares. Prints
// "established" and "removed" with its ID; leaves and ends when its standard input is closed.
//
//   participant ID [type=VMIX] [in=N] [out=N] [to=TARGET] [audio=yes]
//   participant dying die=pool     dies with the connection pool's lock held
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>

#include "lipc/client/Client.h"
#include "lipc/session/ConnectionPool.h"

namespace {

class Participant final : public LIPC::Client {
 public:
  using Client::Client;
  ~Participant() override { stopLIPCSession(); }
  void onLIPCConnectionEstablished() override { say("established"); }
  void onLIPCConnectionToBeRemoved() override { say("removed"); }

  /// Blocks of 256 samples of two channels, in something like real time.
  void play(const std::atomic<bool>& stop) {
    float samples[2][256] = {};
    float* channels[] = {samples[0], samples[1]};
    for (long long stamp = 0; !stop; stamp += 256) {
      processLIPC(channels, 256, 2, 0, stamp, nullptr, 0, nullptr, 0, false);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }

 private:
  void say(const char* what) {
    std::printf("%s %s\n", what, configGetClientID().c_str());
    std::fflush(stdout);
  }
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 1;
  std::map<std::string, std::string> options;
  for (int i = 2; i < argc; ++i) {
    const std::string argument = argv[i];
    const std::size_t equals = argument.find('=');
    options[argument.substr(0, equals)] = argument.substr(equals + 1);
  }
  if (options.count("die") != 0) {
    LIPC::ConnectionPool::open().change([](LIPC::PoolManager&) { std::raise(SIGKILL); });
  }
  const LIPC::ClientID id(argv[1]);
  const bool isMixer = options["type"] == "VMIX";
  Participant client(static_cast<int>(isMixer ? LIPC::cMixEngineType : 0), argv[1]);
  client.setAutoConnectLoopDurationMS(100);
  client.configBeginEdit();
  client.configSetMode(
      static_cast<LIPC::eClientMode>(LIPC::eClientModeInputs | LIPC::eClientModeOutputs));
  client.configSetClientID(argv[1]);
  client.configSetIOChannelCount(std::atoi(options["in"].c_str()),
                                 std::atoi(options["out"].c_str()));
  if (!options["to"].empty()) {
    client.configEditConnection(id, LIPC::ClientID(options["to"])).addWire(0, 0);
  }
  client.configEndEdit();
  client.startLIPCSession(0);
  std::atomic<bool> stop{false};
  std::thread player([&] {
    if (!options["audio"].empty()) client.play(stop);
  });
  while (std::getchar() != EOF) {
  }
  stop = true;
  player.join();
  client.stopLIPCSession();
}
