// SPDX-License-Identifier: BSL-1.0

// A panner: publishes where its source is, sends one channel, and finds its mixing engine by
// itself.
//
//   panner --id panner-1
//
// A rule connects it to every client of type 'VMIX', or to the session's reference client where
// that is one. Rules look at who is there at the join, so start the engine first. A meter can stand
// in for it: meter --type VMIX --id engine --channels 1
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "examples/BlockClock.h"
#include "examples/Participant.h"
#include "examples/Program.h"

namespace {

constexpr int cBlockSize = 256;

// This panner's own offline parameters and strings, where every participant can read them. All
// participants share one numbering: the mixing engine's and the settings' parameters end at 107,
// their strings at slot 4.
constexpr unsigned cAzimuthDegrees = 110;
constexpr unsigned cElevationDegrees = 111;
constexpr int cSourceName = 5;

class Panner final : public examples::Participant {
 public:
  explicit Panner(const std::string& id)
      : Participant(LIPC::fourCharacterCode("PANN"), "Panner", id, "") {
    setAutoConnectLoopDurationMS(100);
    setOfflineParameter(cAzimuthDegrees, 0.0F);
    setOfflineParameter(cElevationDegrees, 30.0F);
    setString(cSourceName, "Violin");
    configBeginEdit();
    configSetMode(
        static_cast<LIPC::eClientMode>(LIPC::eClientModeInputs | LIPC::eClientModeNoAudio));
    configSetClientID(id.c_str());
    configSetIOChannelCount(1, 0);
    // From this client to the engine that the session's host names; to all of them if it names
    // none.
    constexpr int hostDecides = 1;
    configAutoConnect(LIPC::AutoConnection(static_cast<int>(LIPC::cMixEngineType),
                                           LIPC::Connection::eTargetSide, hostDecides));
    configEndEdit();
    startLIPCSession(0);
  }
  ~Panner() override { stopLIPCSession(); }

  void onLIPCConnectionEstablished() override {
    Participant::onLIPCConnectionEstablished();
    examples::say("connections: %zu\n", configGetConnectionCount());
    if (configGetConnectionCount() > 0) return;
    examples::say(
        "No mixing engine was there. Start one, or a meter in its place, and then this panner "
        "again: %smeter --type VMIX --id engine --channels 1\n",
        examples::sFolder.c_str());
  }

  /// Somebody else wrote into this client's row: an automation, a controller.
  void offlineParameterChanged(std::queue<std::pair<unsigned, float>> changes,
                               const float*) override {
    for (; !changes.empty(); changes.pop()) {
      const auto [parameter, value] = changes.front();
      examples::say("parameter %u is now %g\n", parameter, static_cast<double>(value));
    }
  }
};

/// Whether it was ever in the session.
bool play(const std::string& id, const std::string& clockID) {
  Panner panner(id);
  examples::BlockClock clock(cBlockSize, 1.0, clockID, examples::sStop);
  std::vector<float> samples(cBlockSize);
  float* channels[] = {samples.data()};
  while (!examples::sStop) {
    const long long stamp = clock.wait();
    if (!panner.hasRoom(1.0)) continue;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const auto t = static_cast<double>(stamp + static_cast<long long>(i));
      samples[i] = 0.25F * static_cast<float>(
                               std::sin(2 * std::numbers::pi * 440.0 / clock.sampleRate() * t));
    }
    const float parameters[] = {panner.getOfflineParameter(cAzimuthDegrees)};  // with each block
    panner.processLIPC(channels, cBlockSize, 1, 0, stamp, parameters, 1, nullptr, 0, false);
  }
  return panner.hasJoined("panner");
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Sends one channel to the session's mixing engine.", "panner");
  std::string id = "panner";
  app.add_option("--id", id, "ID of this client")->capture_default_str();
  std::string clock;
  examples::addClockTo(app, clock);
  examples::begin(app, argc, argv);
  return examples::end("panner", play(id, clock));
}
