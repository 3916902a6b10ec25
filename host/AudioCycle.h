// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "host/ClientStream.h"
#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/session/Connection.h"

namespace host {

/// Carries the session's audio on a thread of its own, which the clients' new-data semaphore wakes.
/// Each cycle: read every client's announced blocks, then answer those for which everything is
/// there.
///
/// A client hears, in the channels of its "-return" ring, the sum of what the session's connections
/// bring: over each wire the source's channel of the wire's first number into the target's channel
/// of the second. A connection that a rule made (`isAuto`) and that has no wires goes channel by
/// channel. Connections marked disconnected are left out, and a client may be its own source. With
/// the audio go the 172 parameters that the client itself had sent with the block.
///
/// Time: all clients count samples of one clock. What they send meets by time stamp, whatever their
/// block sizes; a block of a target is held for its sources until the target has sent three more,
/// which is one block before it looks for the answer, and is then answered with what is there. A
/// source that has been quiet for 8192 samples is not waited for. What comes later than that is
/// counted and not heard.
///
/// Samples go straight from a source's "-send" slice into the target's "-return" slice where both
/// have a block of that stamp and size, and through the source's timeline where they have not. A
/// cycle allocates nothing.
///
/// Threads: the operations may be called from any.
class AudioCycle {
 public:
  /// While `isPaused` says so nothing is read and answered: a fault. It outlives this object.
  /// `report` is called from the thread when it ends by an exception.
  AudioCycle(const LIPC::Semaphore& newAudioData, const std::atomic<bool>& isPaused,
             std::function<void(const std::string&)> report);
  /// Stops.
  ~AudioCycle();
  AudioCycle(const AudioCycle&) = delete;
  AudioCycle& operator=(const AudioCycle&) = delete;

  /// A client that joined, anew or again: its segments are attached.
  void add(const LIPC::ClientID& id);
  void remove(const LIPC::ClientID& id);
  /// Lets go of the clients that are not in `present`.
  void keepOnly(const std::set<LIPC::ClientID>& present);
  void setConnections(const std::vector<LIPC::Connection>& connections);
  /// Whether these are the connections that it was given last.
  bool carries(const std::vector<LIPC::Connection>& connections);
  /// No client's memory is touched after this returned.
  void stop();

  struct ClientCounters {
    LIPC::ClientID id;
    AudioCounters counters;
  };
  std::vector<ClientCounters> counters();

  /// How far a client is: the stamp of the newest block that it announced, in samples, and how many
  /// blocks were read of it.
  struct Progress {
    LIPC::ClientID id;
    long long newestStamp;
    std::uint64_t blocks;
  };
  struct Hearing {
    Progress source;
    Progress target;
  };
  /// Who hears whom, of those that have sent.
  std::vector<Hearing> hearings();

 private:
  /// A client that another hears, and where what it sent stands while a block is answered.
  struct Source {
    ClientStream* stream;
    const ClientStream::Block* block;  // null: in the timeline
    LIPC::SliceSamples samples;        // of the block
  };
  /// From a channel of a source into a channel of the target.
  struct Path {
    unsigned source;  // index
    unsigned from;
    unsigned to;
  };
  struct Client {
    std::unique_ptr<ClientStream> stream;
    std::vector<Source> sources;
    std::vector<Path> paths;  // by the target's channels
  };

  void run();
  bool waitForNews();
  void cycle();
  static void answer(Client& client);
  static bool isAnySourceAwaited(const Client& client);
  static bool mix(Client& client, const LIPC::SliceSamples& out);
  static bool areAllStill(const std::vector<Source>& sources);
  void route();
  static void connect(const LIPC::Connection& connection, Client& source, Client& target);

  LIPC::SemaphoreHandle mNewData;
  const std::atomic<bool>& mIsPaused;
  std::function<void(const std::string&)> mReport;
  std::mutex mMutex;  // guards what follows, up to the thread
  std::map<LIPC::ClientID, Client> mClients;
  std::vector<LIPC::Connection> mConnections;
  std::atomic<bool> mStop{false};
  std::thread mThread;
};

}  // namespace host
