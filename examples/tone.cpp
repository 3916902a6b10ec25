// Sends sine waves to another client: the smallest participant with audio.
//
//   tone --channels 2 --to meter
//
// Its blocks go through the session host, so start `lipc host` first, or later: the client joins as
// soon as there is one.
#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "examples/BlockClock.h"
#include "examples/Stop.h"
#include "lipc/client/Client.h"
#include "lipc/util/Levels.h"

namespace {

using LIPC::ClientID;

struct Options {
  std::string id = "tone";
  std::string target = "meter";
  int channels = 2;
  int blockSize = 256;
  float frequency = 440.0F;
  float levelDB = -12.0F;
  double speed = 1.0;
  double seconds = 0.0;
};

class Tone final : public LIPC::Client {
 public:
  explicit Tone(const Options& options)
      : Client(static_cast<int>(LIPC::fourCharacterCode("TONE")), "Tone") {
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

  void onLIPCConnectionEstablished() override { std::puts("joined"); }
  void onLIPCConnectionToBeRemoved() override { std::puts("leaving"); }
};

/// Channel c has the c-th multiple of the frequency.
void fill(std::vector<float>& samples, const Options& options, int channel, long long stamp) {
  const double step =
      2 * std::numbers::pi * options.frequency * (channel + 1) / examples::BlockClock::cSampleRate;
  const float amplitude = LIPC::db2amplitude(options.levelDB);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double phase = step * static_cast<double>(stamp + static_cast<long long>(i));
    samples[i] = amplitude * static_cast<float>(std::sin(phase));
  }
}

void play(const Options& options) {
  Tone tone(options);
  std::vector<std::vector<float>> audio(
      static_cast<std::size_t>(options.channels),
      std::vector<float>(static_cast<std::size_t>(options.blockSize)));
  std::vector<float*> channels;
  for (std::vector<float>& channel : audio)
    channels.push_back(channel.data());

  examples::BlockClock clock(options.blockSize, options.speed);
  const double blocks = options.seconds * examples::BlockClock::cSampleRate / options.blockSize;
  for (double block = 0; !examples::sStop && (options.seconds <= 0 || block < blocks); ++block) {
    const long long stamp = clock.wait();
    for (int c = 0; c < options.channels; ++c)
      fill(audio[static_cast<std::size_t>(c)], options, c, stamp);
    tone.processLIPC(channels.data(), options.blockSize, options.channels, 0, stamp, nullptr, 0,
                     nullptr, 0, false);
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Sends sine waves to another client of the session.", "tone");
  Options options;
  app.add_option("--id", options.id, "ID of this client")->capture_default_str();
  app.add_option("--to", options.target, "ID of the client that hears it")->capture_default_str();
  app.add_option("--channels", options.channels, "Channels; channel n has n times the frequency")
      ->check(CLI::Range(1, LIPC::Connection::cWireCount))
      ->capture_default_str();
  app.add_option("--block", options.blockSize, "Samples per block")
      ->check(CLI::Range(3, 1024))
      ->capture_default_str();
  app.add_option("--frequency", options.frequency, "Hz")->capture_default_str();
  app.add_option("--level", options.levelDB, "Amplitude in dB")->capture_default_str();
  app.add_option("--speed", options.speed, "1 is real time, 0 as fast as it goes")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.add_option("--seconds", options.seconds, "Seconds of audio to send; 0 is until Ctrl-C")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  examples::stopOnSignals();
  play(options);
}
