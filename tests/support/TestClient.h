// SPDX-License-Identifier: BSL-1.0
#pragma once

#include "lipc/client/Client.h"
#include "tests/support/Testing.h"

namespace support {

/// A client inside the test's process that counts its callbacks. Its thread runs at the fastest
/// period and without a start delay.
class TestClient : public LIPC::Client {
 public:
  explicit TestClient(const char* id, int type = static_cast<int>(LIPC::fourCharacterCode("TEST")))
      : Client(type, id) {
    setAutoConnectLoopDurationMS(100);
    configBeginEdit();
    configSetMode(
        static_cast<LIPC::eClientMode>(LIPC::eClientModeInputs | LIPC::eClientModeOutputs));
    configSetClientID(id);
    configEndEdit();
  }
  ~TestClient() override { stopLIPCSession(); }

  void onLIPCConnectionEstablished() override { ++established; }
  void onLIPCConnectionToBeRemoved() override { ++removed; }
  void onLIPCConnectionTick() override { ++ticks; }
  void onLIPCConnectionTick(const std::deque<LIPC::ClientEntry>* clients) override {
    ++ticks;
    peers = static_cast<int>(clients->size());
  }
  void offlineParameterChanged(std::queue<std::pair<unsigned, float>> changes,
                               const float*) override {
    lastChanged = static_cast<int>(changes.back().first);
    ++changed;
  }

  /// Starts and waits until it has joined.
  bool join(std::chrono::milliseconds limit = 10s) {
    const int before = established;
    startLIPCSession(0);
    return eventually(limit, [&] { return established > before; });
  }

  std::atomic<int> established{0}, removed{0}, ticks{0}, changed{0}, lastChanged{-1}, peers{0};
};

}  // namespace support
