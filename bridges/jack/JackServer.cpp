// SPDX-License-Identifier: BSL-1.0
#include "bridges/jack/JackServer.h"

#include <algorithm>
#include <cstdlib>

#include <fmt/core.h>
#include <jack/thread.h>
#include <pthread.h>

#include "tools/ExitStatus.h"
#include "tools/Failure.h"

namespace jack_bridge {
namespace {

/// JACK's client name: the bridge's ID, cut to what JACK takes, between two characters of UTF-8.
std::string clientNameOf(const std::string& id) {
  std::string name = "lipc-" + id;
  std::replace(name.begin(), name.end(), ':', '_');  // stands between a client and its port
  constexpr std::size_t cMost = 63;  // JACK 2's library says one more than its server takes
  const auto said = static_cast<std::size_t>(jack_client_name_size()) - 1;
  std::size_t length = std::min({name.size(), cMost, said});
  const auto isWithin = [&](std::size_t at) {
    return at < name.size() && (static_cast<unsigned char>(name[at]) & 0xC0U) == 0x80U;
  };
  while (isWithin(length))
    --length;
  name.resize(length);
  return name;
}

std::string reasonOf(jack_status_t status) {
  if ((status & JackServerFailed) != 0) return "it does not run";
  if ((status & JackVersionError) != 0) return "it speaks another version of the protocol";
  if ((status & JackShmFailure) != 0) return "its shared memory cannot be reached";
  return fmt::format("status {:#x}", static_cast<unsigned>(status));
}

}  // namespace

JackServer::JackServer(const BridgeOptions& options, AudioCallback& callback)
    : mOptions(options),
      mCallback(callback),
      mIn(static_cast<std::size_t>(options.inputs)),
      mOut(static_cast<std::size_t>(options.outputs)) {
  // Said by `whyNot`, once, and not by the library at each try.
  jack_set_error_function([](const char*) {});
  jack_set_info_function([](const char*) {});
}

std::string JackServer::serverName() const {
  if (!mOptions.server.empty()) return mOptions.server;
  const char* const named = std::getenv("JACK_DEFAULT_SERVER");
  return named != nullptr && *named != '\0' ? named : "default";
}

std::string JackServer::identity() const {
  return serverName() + " " + jack_get_version_string();
}

bool JackServer::open(const std::function<std::int64_t()>& stampOfOther) {
  const std::string name = clientNameOf(mOptions.id);
  auto status = static_cast<jack_status_t>(0);
  mClient = mOptions.server.empty()
                ? jack_client_open(name.c_str(), JackNoStartServer, &status)
                : jack_client_open(name.c_str(),
                                   static_cast<jack_options_t>(JackNoStartServer | JackServerName),
                                   &status, mOptions.server.c_str());
  if (mClient == nullptr) {
    const std::lock_guard lock(mWhyMutex);
    mWhyNot = reasonOf(status);
    return false;
  }
  mIsLost = false;
  mRate = static_cast<int>(jack_get_sample_rate(mClient));
  mPeriod = jack_get_buffer_size(mClient);
  mCallback.begin(mRate, stampOfOther());
  registerPorts();
  setCallbacks();
  if (jack_activate(mClient) != 0) {
    close();
    const std::lock_guard lock(mWhyMutex);
    mWhyNot = "it does not take this client to work";
    return false;
  }
  mConnections.begin();
  if (mOptions.autoconnectPhysical) mConnections.wantPhysical(mClient, mInputs, mOutputs);
  mConnections.restore(mClient);
  return true;
}

void JackServer::close() {
  if (mClient != nullptr) jack_client_close(mClient);
  mClient = nullptr;
  const std::lock_guard lock(mPortsMutex);
  mInputs.clear();
  mOutputs.clear();
}

std::string JackServer::whyNot() const {
  const std::lock_guard lock(mWhyMutex);
  return mWhyNot;
}

std::string JackServer::clientName() const {
  return jack_get_client_name(mClient);
}

std::function<void()> JackServer::raiser() const {
  const int priority =
      jack_is_realtime(mClient) != 0 ? jack_client_real_time_priority(mClient) : -1;
  return [priority] {
    if (priority > 0) jack_acquire_real_time_scheduling(pthread_self(), priority);
  };
}

double JackServer::load() const {
  return static_cast<double>(jack_cpu_load(mClient));
}

void JackServer::tend() {
  mConnections.restore(mClient);
  if (!mIsLost) mConnections.remember(mClient, mInputs, mOutputs);
}

void JackServer::setLatency(unsigned frames) {
  if (mLatency.exchange(frames) != frames) jack_recompute_total_latencies(mClient);
}

void JackServer::registerPorts() {
  const auto add = [&](std::vector<jack_port_t*>& ports, const char* name, int count,
                       JackPortFlags flags) {
    for (int i = 1; i <= count; ++i) {
      jack_port_t* const port = jack_port_register(mClient, fmt::format("{}_{}", name, i).c_str(),
                                                   JACK_DEFAULT_AUDIO_TYPE, flags, 0);
      if (port == nullptr) {
        throw tools::Failure(tools::eExitFailure,
                             "The JACK server {} has no room for {} ports. Ask for fewer with --in "
                             "and --out, or start it with more (jackd --port-max).",
                             serverName(), mOptions.inputs + mOptions.outputs);
      }
      ports.push_back(port);
    }
  };
  const std::lock_guard lock(mPortsMutex);
  add(mInputs, "to_session", mOptions.inputs, JackPortIsInput);
  add(mOutputs, "from_session", mOptions.outputs, JackPortIsOutput);
}

/// What JACK calls; `object` is this object.
void JackServer::setCallbacks() {
  const auto self = [](void* object) -> JackServer& { return *static_cast<JackServer*>(object); };
  using Self = decltype(self);
  jack_set_process_callback(
      mClient, [](jack_nframes_t frames, void* object) { return Self()(object).process(frames); },
      this);
  jack_set_xrun_callback(
      mClient,
      [](void* object) {
        ++Self()(object).mXruns;
        return 0;
      },
      this);
  jack_set_buffer_size_callback(
      mClient,
      [](jack_nframes_t frames, void* object) {
        Self()(object).mPeriod = frames;
        return 0;
      },
      this);
  jack_set_sample_rate_callback(
      mClient,
      [](jack_nframes_t rate, void* object) {
        Self()(object).mRate = static_cast<int>(rate);
        return 0;
      },
      this);
  jack_set_latency_callback(
      mClient,
      [](jack_latency_callback_mode_t mode, void* object) { Self()(object).tellLatency(mode); },
      this);
  jack_on_info_shutdown(
      mClient,
      [](jack_status_t, const char* reason, void* object) {
        JackServer& server = Self()(object);
        const std::lock_guard lock(server.mWhyMutex);
        server.mWhyNot = reason != nullptr ? reason : "";
        server.mIsLost = true;
      },
      this);
}

int JackServer::process(jack_nframes_t frames) noexcept {
  const auto bufferOf = [frames](jack_port_t* port) {
    return static_cast<float*>(jack_port_get_buffer(port, frames));
  };
  std::transform(mInputs.begin(), mInputs.end(), mIn.begin(), bufferOf);
  std::transform(mOutputs.begin(), mOutputs.end(), mOut.begin(), bufferOf);
  Period period{frames, 0, 0, mIn.data(), mOut.data()};
  jack_time_t now = 0, next = 0;
  float microseconds = 0;
  if (jack_get_cycle_times(mClient, &period.frameTime, &now, &next, &microseconds) != 0) {
    period.frameTime = jack_last_frame_time(mClient);
    now = jack_get_time();
  }
  period.microseconds = now;
  mCallback.period(period);
  return 0;
}

/// What comes out of the session has gone in at the ports of the other side, or began in it: in
/// both directions it is by mLatency further from the world than these ports are.
void JackServer::tellLatency(jack_latency_callback_mode_t mode) {
  const std::lock_guard lock(mPortsMutex);
  const bool isCapture = mode == JackCaptureLatency;
  jack_latency_range_t range{0, 0};
  bool isFirst = true;
  for (jack_port_t* const port : isCapture ? mInputs : mOutputs) {
    if (jack_port_connected(port) == 0) continue;
    jack_latency_range_t each;
    jack_port_get_latency_range(port, mode, &each);
    range.min = isFirst ? each.min : std::min(range.min, each.min);
    range.max = isFirst ? each.max : std::max(range.max, each.max);
    isFirst = false;
  }
  range.min += mLatency;
  range.max += mLatency;
  for (jack_port_t* const port : isCapture ? mOutputs : mInputs)
    jack_port_set_latency_range(port, mode, &range);
}

}  // namespace jack_bridge
