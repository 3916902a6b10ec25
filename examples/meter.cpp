// SPDX-License-Identifier: BSL-1.0

// Listens: shows the level of what other clients send to it, and writes it to a file on request.
//
//   meter --channels 2 --wav heard.wav
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "examples/BlockClock.h"
#include "examples/Participant.h"
#include "examples/Program.h"
#include "examples/WavFile.h"
#include "lipc/util/Levels.h"
#include "lipc/util/Meters.h"

namespace {

struct Options {
  std::string id = "meter";
  std::string type = "METR";
  std::string wav;
  int channels = 2;
  examples::Timing timing;
};

std::uint32_t codeOf(const std::string& type) {
  char code[5] = "    ";
  type.copy(code, 4);
  return LIPC::fourCharacterCode(code);
}

class Meter final : public examples::Participant {
 public:
  explicit Meter(const Options& options)
      : Participant(codeOf(options.type), "Meter", options.id, "") {
    configBeginEdit();
    configSetMode(LIPC::eClientModeOutputs);
    configSetClientID(options.id.c_str());
    configSetIOChannelCount(0, options.channels);
    configEndEdit();
    startLIPCSession(0);
  }
  ~Meter() override { stopLIPCSession(); }
};

/// Gathers blocks until half a second is full, then prints the level of each channel.
class Display {
 public:
  explicit Display(int channels) : mHeard(static_cast<std::size_t>(channels)) {}

  void add(const std::vector<float*>& block, int count) {
    for (std::size_t c = 0; c < mHeard.size(); ++c)
      mHeard[c].insert(mHeard[c].end(), block[c], block[c] + count);
    if (mHeard[0].size() >= cSamples) print();
  }

 private:
  static constexpr std::size_t cSamples = examples::BlockClock::cSampleRate / 2;

  void print() {
    const auto count = static_cast<unsigned>(mHeard.size());
    std::vector<const float*> channels;
    for (const std::vector<float>& channel : mHeard)
      channels.push_back(channel.data());
    std::vector<float> rms(count);
    std::vector<float> peak(count);
    const auto samples = static_cast<unsigned>(mHeard[0].size());
    LIPC::computeVU_RMS(channels.data(), count, samples, rms.data(), count);
    LIPC::computeVU_peak(channels.data(), count, samples, peak.data(), count);
    for (unsigned c = 0; c < count; ++c) {
      std::printf("%s%u: rms %7.2f dB, peak %7.2f dB", c == 0 ? "" : "   ", c + 1, rms[c],
                  LIPC::amplitude2db(peak[c]));
    }
    examples::say("\n");
    for (std::vector<float>& channel : mHeard)
      channel.clear();
  }

  std::vector<std::vector<float>> mHeard;
};

/// Whether it was ever in the session.
bool listen(const Options& options) {
  const examples::Timing& timing = options.timing;
  examples::BlockClock clock = timing.makeClock();
  std::optional<examples::WavFile> wav;
  if (!options.wav.empty()) wav.emplace(options.wav, options.channels, clock.sampleRate());
  Meter meter(options);
  Display display(options.channels);
  examples::Buffers buffers(options.channels, timing.blockSize);
  for (long long block = 0; timing.goesOnTo(block, clock.sampleRate()); ++block) {
    const long long stamp = clock.wait();
    if (!meter.hasRoom(timing.speed)) continue;
    meter.processLIPC(buffers.pointers.data(), timing.blockSize, 0, 0, stamp, nullptr, 0, nullptr,
                      0, false);
    if (!meter.isConnected()) continue;  // the buffers were not touched
    display.add(buffers.pointers, timing.blockSize);
    if (wav) wav->write(buffers.pointers, timing.blockSize);
  }
  if (wav) wav->finish();
  return meter.hasJoined("meter");
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Shows the level of what other clients send to it.", "meter");
  Options options;
  app.add_option("--id", options.id, "ID of this client")->capture_default_str();
  app.add_option("--type", options.type, "Four-character type of this client")
      ->check([](const std::string& type) {
        return type.size() == 4 ? "" : "a type has four characters";
      })
      ->capture_default_str();
  app.add_option("--channels", options.channels, "Channels")
      ->check(CLI::Range(1, 64))
      ->capture_default_str();
  app.add_option("--wav", options.wav, "Also write what it hears to this file")->type_name("FILE");
  options.timing.addTo(app);
  examples::begin(app, argc, argv);
  try {
    return examples::end("meter", listen(options));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "meter: %s\n", error.what());
    return 1;
  }
}
