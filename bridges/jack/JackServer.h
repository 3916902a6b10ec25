// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <jack/jack.h>

#include "bridges/jack/AudioCallback.h"
#include "bridges/jack/BridgeOptions.h"
#include "bridges/jack/PortConnections.h"

namespace jack_bridge {

/// The bridge as a client of a JACK server: its ports, `to_session_1` and so on and
/// `from_session_1` and so on, and what JACK calls.
///
///   closed  --open: a server is there-->  open
///   open    --the server ended, or threw this client out-->  lost, until `close`
///
/// Threads: one of the application's, but for what JACK calls.
class JackServer {
 public:
  JackServer(const BridgeOptions& options, AudioCallback& callback);
  ~JackServer() { close(); }
  JackServer(const JackServer&) = delete;
  JackServer& operator=(const JackServer&) = delete;

  /// Becomes a client of the server and goes to work with it: registers the ports, and connects
  /// them as they were when the last server ended. False, with the reason in `whyNot`, where there
  /// is none. `stampOfOther`: called with the server's rate; see FrameTime.
  bool open(const std::function<std::int64_t()>& stampOfOther);
  void close();
  bool isOpen() const { return mClient != nullptr; }
  bool isLost() const { return mIsLost; }
  /// A sentence without its full stop: why it is not open, or not any more.
  std::string whyNot() const;

  /// Connects what came, and remembers what is. Once in a while.
  void tend();
  /// The frames that lie between a port to the session and one from it, told to all clients.
  void setLatency(unsigned frames);

  // While open:
  /// In JACK.
  std::string clientName() const;
  int rate() const { return mRate; }
  unsigned period() const { return mPeriod; }
  /// Gives the thread that calls it the priority of JACK's own, where the server is a real-time
  /// one.
  std::function<void()> raiser() const;
  /// In percent of a period.
  double load() const;

  /// Since the start.
  std::uint64_t xruns() const { return mXruns; }
  /// The server as the command line names it, and what speaks to it: what bridges on one server
  /// have in common.
  std::string identity() const;
  std::string serverName() const;

 private:
  void registerPorts();
  void setCallbacks();
  int process(jack_nframes_t frames) noexcept;
  void tellLatency(jack_latency_callback_mode_t mode);

  const BridgeOptions mOptions;
  AudioCallback& mCallback;
  jack_client_t* mClient = nullptr;
  std::mutex
      mPortsMutex;  // guards the two for JACK's threads but the audio thread, which comes after
  std::vector<jack_port_t*> mInputs;
  std::vector<jack_port_t*> mOutputs;
  std::vector<const float*> mIn;  // of the audio thread
  std::vector<float*> mOut;
  PortConnections mConnections;
  std::atomic<int> mRate{0};
  std::atomic<unsigned> mPeriod{0};
  std::atomic<unsigned> mLatency{0};
  std::atomic<std::uint64_t> mXruns{0};
  std::atomic<bool> mIsLost{false};
  mutable std::mutex mWhyMutex;
  std::string mWhyNot;
};

}  // namespace jack_bridge
