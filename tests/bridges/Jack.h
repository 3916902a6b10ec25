// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <mutex>
#include <numbers>

#include <jack/jack.h>
#include <sys/resource.h>

#include "tests/support/Process.h"

namespace support {

constexpr char cJackd[] = "/usr/bin/jackd";

#define SKIP_WITHOUT_JACK() \
  if (access(support::cJackd, X_OK) != 0) GTEST_SKIP() << "jackd is not installed"

/// Audio keeps time where the machine is busy: these tests and what they start come first, where
/// the system lets them.
inline const bool sComesFirst = setpriority(PRIO_PROCESS, 0, -15) == 0;

/// What `tone` plays on its first channel.
constexpr double cTone = 440;
constexpr float cAmplitude = 0.251188643F;  // -12 dB
inline float toneAt(long long stamp, double rate) {
  const double phase = 2 * std::numbers::pi * cTone / rate * static_cast<double>(stamp);
  return cAmplitude * static_cast<float>(std::sin(phase));
}

/// A JACK server without a sound card, under a name of this process's own.
class JackServer {
 public:
  // What it prints nobody reads, and it would wait for a reader.
  JackServer(const std::string& name, int rate, int period)
      : mName(name),
        mProcess({"/bin/sh", "-c",
                  std::string("exec ") + cJackd + " -n " + name + " -r -d dummy -C 2 -P 2 -r " +
                      std::to_string(rate) + " -p " + std::to_string(period) +
                      " >/dev/null 2>&1"}) {}

  bool isUp() {
    return eventually(10s, [&] {
      jack_client_t* const client = openOn(mName, "probe");
      if (client != nullptr) jack_client_close(client);
      return client != nullptr;
    });
  }
  static jack_client_t* openOn(const std::string& server, const char* name) {
    jack_set_error_function([](const char*) {});
    jack_set_info_function([](const char*) {});
    return jack_client_open(name, static_cast<jack_options_t>(JackNoStartServer | JackServerName),
                            nullptr, server.c_str());
  }

 private:
  const std::string mName;
  Process mProcess;
};

/// Another program on the server that hears one port of it.
class Recorder {
 public:
  /// `period`: asks the server for this one first; 0: as it is.
  Recorder(const std::string& server, const std::string& port, int period = 0) {
    eventually(10s, [&] { return (mClient = JackServer::openOn(server, "recorder")) != nullptr; });
    if (mClient == nullptr) return;
    mPort = jack_port_register(mClient, "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
    jack_set_process_callback(
        mClient,
        [](jack_nframes_t frames, void* self) { return static_cast<Recorder*>(self)->add(frames); },
        this);
    jack_activate(mClient);
    if (period != 0 && jack_get_buffer_size(mClient) != static_cast<jack_nframes_t>(period))
      jack_set_buffer_size(mClient, static_cast<jack_nframes_t>(period));
    mIsOpen = eventually(10s, [&] {
      return jack_port_by_name(mClient, port.c_str()) != nullptr && connect(port, "recorder:in");
    });
  }
  ~Recorder() {
    if (mClient != nullptr) jack_client_close(mClient);
  }
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  struct Heard {
    std::uint32_t frame = 0;  // JACK's, of the first sample
    std::vector<float> samples;

    double peak() const { return *std::max_element(samples.begin(), samples.end()); }
    /// By the first and the last rise through 0.
    double frequency(double rate) const {
      double first = 0, last = 0;
      int rises = -1;
      for (std::size_t i = 1; i < samples.size(); ++i) {
        const double a = samples[i - 1], b = samples[i];
        if (a >= 0 || b < 0) continue;
        last = static_cast<double>(i) - b / (b - a);
        if (++rises == 0) first = last;
      }
      return rises > 0 ? rises * rate / (last - first) : 0;
    }
  };
  /// The last so many samples, when as many came without a gap; else none.
  Heard take(std::size_t count) {
    const std::lock_guard lock(mMutex);
    if (mSamples.size() < count) return {};
    Heard heard{mNext - static_cast<std::uint32_t>(count),
                {mSamples.end() - static_cast<long>(count), mSamples.end()}};
    mSamples.clear();
    return heard;
  }
  bool isOpen() const { return mIsOpen; }
  bool connect(const std::string& from, const std::string& to) {
    const int error = jack_connect(mClient, from.c_str(), to.c_str());
    return error == 0 || error == EEXIST;
  }
  /// Of the port that is heard, to where it is heard.
  unsigned captureLatency() {
    jack_latency_range_t range{};
    jack_port_get_latency_range(mPort, JackCaptureLatency, &range);
    return range.min;
  }
  /// The first port that this one is connected to, "" for none.
  std::string connectionsOf(const std::string& port) {
    const char** const others =
        jack_port_get_all_connections(mClient, jack_port_by_name(mClient, port.c_str()));
    const std::string first = others != nullptr ? others[0] : "";
    jack_free(others);
    return first;
  }

 private:
  /// On JACK's audio thread. deliberate: it waits for the lock, as a test may.
  int add(jack_nframes_t frames) {
    const auto* const heard = static_cast<const float*>(jack_port_get_buffer(mPort, frames));
    const std::uint32_t now = jack_last_frame_time(mClient);
    const std::lock_guard lock(mMutex);
    if (now != mNext) mSamples.clear();
    mSamples.insert(mSamples.end(), heard, heard + frames);
    mNext = now + frames;
    return 0;
  }

  jack_client_t* mClient = nullptr;
  jack_port_t* mPort = nullptr;
  bool mIsOpen = false;
  std::mutex mMutex;
  std::vector<float> mSamples;
  std::uint32_t mNext = 0;
};

}  // namespace support
