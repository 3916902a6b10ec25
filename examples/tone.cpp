// SPDX-License-Identifier: BSL-1.0

// Sends sine waves to another client: the smallest participant with audio.
//
//   tone --channels 2 --to meter
//
// Its blocks go through the session host, so start `lipc host` first, or later: the client joins as
// soon as there is one. examples::Participant is a LIPC::Client that says what becomes of it.
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "examples/BlockClock.h"
#include "examples/Participant.h"
#include "examples/Program.h"
#include "lipc/util/Levels.h"

namespace {

using LIPC::ClientID;

struct Options {
  std::string id = "tone";
  std::string name = "Tone";
  std::string target = "meter";
  int channels = 2;
  float frequency = 440.0F;
  float levelDB = -12.0F;
  examples::Timing timing;
};

class Tone final : public examples::Participant {
 public:
  explicit Tone(const Options& options)
      : Participant(LIPC::fourCharacterCode("TONE"), options.name, options.id, options.target) {
    configBeginEdit();
    // It sends. The second bit has its blocks announced to the host.
    configSetMode(
        static_cast<LIPC::eClientMode>(LIPC::eClientModeInputs | LIPC::eClientModeNoAudio));
    configSetClientID(options.id.c_str());
    configSetIOChannelCount(options.channels, 0);
    LIPC::Connection& wires = configEditConnection(ClientID(options.id), ClientID(options.target));
    for (int c = 0; c < options.channels; ++c)
      wires.addWire(c, c);
    configEndEdit();
    startLIPCSession(0);
  }
  ~Tone() override { stopLIPCSession(); }
};

/// Channel c has the c-th multiple of the frequency.
void fill(std::vector<float>& samples, const Options& options, int channel, long long stamp,
          int sampleRate) {
  const double step = 2 * std::numbers::pi * options.frequency * (channel + 1) / sampleRate;
  const float amplitude = LIPC::db2amplitude(options.levelDB);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double phase = step * static_cast<double>(stamp + static_cast<long long>(i));
    samples[i] = amplitude * static_cast<float>(std::sin(phase));
  }
}

/// Whether it was ever in the session.
bool play(const Options& options) {
  Tone tone(options);
  const examples::Timing& timing = options.timing;
  examples::Buffers buffers(options.channels, timing.blockSize);
  examples::BlockClock clock = timing.makeClock();
  for (long long block = 0; timing.goesOnTo(block, clock.sampleRate()); ++block) {
    const long long stamp = clock.wait();
    if (!tone.hasRoom(timing.speed)) continue;
    for (int c = 0; c < options.channels; ++c)
      fill(buffers.samples[static_cast<std::size_t>(c)], options, c, stamp, clock.sampleRate());
    tone.processLIPC(buffers.pointers.data(), timing.blockSize, options.channels, 0, stamp, nullptr,
                     0, nullptr, 0, false);
  }
  return tone.hasJoined("tone");
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Sends sine waves to another client of the session.", "tone");
  Options options;
  app.add_option("--id", options.id, "ID of this client")->capture_default_str();
  app.add_option("--name", options.name, "Its name, for people")->capture_default_str();
  app.add_option("--to", options.target, "ID of the client that hears it")->capture_default_str();
  app.add_option("--channels", options.channels, "Channels; channel n has n times the frequency")
      ->check(CLI::Range(1, LIPC::Connection::cWireCount))
      ->capture_default_str();
  app.add_option("--frequency", options.frequency, "Hz")->capture_default_str();
  app.add_option("--level", options.levelDB, "Amplitude in dB")->capture_default_str();
  options.timing.addTo(app);
  examples::begin(app, argc, argv);
  return examples::end("tone", play(options));
}
