// SPDX-License-Identifier: BSL-1.0

// A participant in a process of its own, for tests that kill it or spoil what it shares. Says when
// it is "established"; leaves and ends when its standard input is closed.
//
//   participant ID           a mixer
//   participant ID TARGET    with a connection to the target; with audio when that is itself
//   participant              dies with the connection pool's lock held
#include <cstdio>

#include <poll.h>
#include <unistd.h>

#include "lipc/session/ConnectionPool.h"
#include "tests/support/TestClient.h"

namespace {

struct Participant final : support::TestClient {
  using TestClient::TestClient;
  void onLIPCConnectionEstablished() override { dprintf(STDOUT_FILENO, "established\n"); }
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2)
    LIPC::ConnectionPool::open().change([](LIPC::PoolManager&) { std::raise(SIGKILL); });
  const LIPC::ClientID id(argv[1]), target(argc > 2 ? argv[2] : "");
  Participant client(argv[1], argc > 2 ? 0 : static_cast<int>(LIPC::cMixEngineType));
  client.configSetIOChannelCount(2, 2);
  if (argc > 2) client.configEditConnection(id, target).addWire(0, 0);
  client.startLIPCSession(0);
  // Blocks of 256 samples in something like real time, or nothing but the wait for the end.
  float samples[2][256] = {};
  float* channels[] = {samples[0], samples[1]};
  pollfd input{STDIN_FILENO, POLLIN, 0};
  for (long long stamp = 0; poll(&input, 1, id == target ? 5 : -1) <= 0; stamp += 256)
    client.processLIPC(channels, 256, 2, 0, stamp, nullptr, 0, nullptr, 0, false);
  client.stopLIPCSession();
}
