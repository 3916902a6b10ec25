// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/AudioCycle.h"
#include "host/ClockWatch.h"
#include "host/DeadSession.h"
#include "host/HostOptions.h"
#include "host/ProcessorCycle.h"
#include "host/ProcessorLibrary.h"
#include "host/SessionConnections.h"
#include "host/SessionSegments.h"
#include "inspect/ClientWatch.h"
#include "inspect/Event.h"
#include "inspect/LockWatch.h"
#include "inspect/TableWatch.h"
#include "lipc/realtime/SemaphoreHandle.h"

/// The reference host.
namespace host {

/// A reference session host: everything that a participant needs of its host.
///
///     heartbeat thread      every 100 ms: counts; looks whether the table or the connections
///                           changed; wakes the watch thread. The one that wakes by the clock
///     registration thread   answers joins and leaves as their semaphore is posted
///     watch thread          after a change: what it was; every 500 ms, or 800 ms
///                           while nobody is there: all rows, lost clients and a registration
///                           lock that nobody gives back
///     audio thread          carries the clients' audio, woken by them; not with the fault noAudio
///     cycle thread          drives the loaded libraries' processors
///     faults thread         misbehaves by chance; only where a seed is given
///
/// One lock guards the table's rows, the connections and the watches against each other within the
/// host; between processes the session's registration lock does. The audio has a lock of its own,
/// taken last.
///
/// Threads: constructed, loaded and stopped on one thread. The event sink is called from the host's
/// threads, one call at a time; it must not call back.
///
/// @ingroup host
class SessionHost {
 public:
  /// Takes the IDs of the clients for whom `stop` waits.
  using WaitingReport = std::function<void(const std::vector<std::string>&)>;

  /// Makes the session. Where there is one already it first watches its heartbeat, for a second
  /// at most. Throws SessionAliveError when it lives, HostError when the new one cannot be made.
  SessionHost(const HostOptions& options, inspect::EventSink sink);
  /// Stops, if `stop` was not called.
  ~SessionHost();
  SessionHost(const SessionHost&) = delete;
  SessionHost& operator=(const SessionHost&) = delete;

  /// What a dead session had left and the start removed.
  const std::vector<std::string>& removedAtStart() const { return mRemovedAtStart; }
  /// Loads a processor library, whose processor is driven from now on, once per 1024 frames at
  /// 48 kHz. Throws LibraryError. What it returns lives until `stop`.
  const ProcessorLibrary& load(const std::string& path);
  /// Ends the audio, forbids joins, asks every client to leave, waits for them for at most 5
  /// seconds, unloads the libraries and removes everything. Who is provably dead is not waited for.
  /// Returns the IDs of the clients that did not leave. `waiting` is called once, on this thread,
  /// with the IDs of those that are still there after half a second; it must not throw.
  std::vector<std::string> stop(const WaitingReport& waiting = {});
  /// What `stop` could not remove of dead clients: a sentence each.
  const std::vector<std::string>& keptAtStop() const { return mKeptAtStop; }

  /// The table, whose rows clients write meanwhile. Not after `stop`.
  LIPC::SessionBuffer& session() { return mSegments->session(); }
  /// A copy of the session's connections, cut ones included. Any thread; not after `stop`.
  std::vector<LIPC::Connection> connections();
  /// What became of each client's blocks since it joined. Empty after `stop` and without audio.
  std::vector<AudioCycle::ClientCounters> audioCounters() {
    return mAudio ? mAudio->counters() : std::vector<AudioCycle::ClientCounters>();
  }

 private:
  void fillTable();
  std::thread start(void (SessionHost::*body)(), const char* name);
  void startThreads();
  void stopThreads();
  bool sleepUnlessStopped(std::chrono::milliseconds duration);

  void misbehave();
  void behave();
  bool sleepUnlessBehaving(std::chrono::milliseconds duration);
  void doFor(std::chrono::milliseconds duration, std::atomic<bool>& fault);
  void holdLockFor(std::chrono::milliseconds duration);
  void forbidJoinsFor(std::chrono::milliseconds duration);
  void beat();
  void advanceHeartbeat(int beats);
  bool hasNews();
  void answerRequests();
  void answerRequest();
  void watch();
  void wakeWatch(bool isForAll);
  bool waitForWatch(bool& isForAll);
  void watchClients();
  void reap(const LIPC::ClientID& id, const std::function<bool()>& isDead);
  bool isLost(const LIPC::ClientID& id);
  void watchLock();
  void removeOrphans();
  void refreshKeyFiles();
  void freeRows(const LIPC::ClientID& id);
  void freeLock();
  void note(const std::string& text);
  void reportFromThread(const std::string& text);
  void stopAudio();
  std::vector<std::string> askAllToLeave(const WaitingReport& waiting);
  void reapDeserted(const LIPC::ClientID& id);
  std::vector<LIPC::ClientID> clientsPresent();

  /// What the host just does wrong: as its options say, and by chance.
  struct Misbehaviour {
    explicit Misbehaviour(const Faults& faults)
        : silent(faults.silent),
          stallHeartbeat(faults.stallHeartbeat),
          holdLock(faults.holdLock),
          noAudio(faults.noAudio) {}

    std::atomic<bool> silent;
    std::atomic<bool> stallHeartbeat;
    std::atomic<bool> holdLock;
    std::atomic<bool> noAudio;
    std::atomic<int> stepsBack{0};  // of the heartbeat, still to do
  };

  // In this order: whatever comes later uses what comes before.
  HostOptions mOptions;
  Misbehaviour mMisbehaviour;
  inspect::EventSink mSink;
  HostLock mHostLock;
  std::vector<std::string> mRemovedAtStart;
  std::vector<std::string> mKeptAtStop;
  std::unique_ptr<SessionConnections> mConnections;
  std::unique_ptr<SessionSegments> mSegments;
  std::unique_ptr<LIPC::SemaphoreHandle> mRegistration;
  std::unique_ptr<LIPC::SemaphoreHandle> mRegistrationEnded;
  std::unique_ptr<LIPC::SemaphoreHandle> mClientsCanRegister;
  std::mutex mMutex;
  std::unique_ptr<AudioCycle> mAudio;
  std::unique_ptr<inspect::TableWatch> mTableWatch;
  std::atomic<bool> mIsAnybodyThere{true};  // written by the watch thread
  inspect::ClientWatch mClientWatch;
  inspect::LockWatch mLockWatch;
  ClockWatch mClockWatch;
  std::set<LIPC::ClientID> mFillers;
  std::unique_ptr<ProcessorCycle> mCycle;
  std::list<ProcessorLibrary> mLibraries;
  std::mutex mStopMutex;
  std::condition_variable mStopChanged;
  std::condition_variable mWatchChanged;
  bool mIsLookDue = false;
  bool mIsLookAtAllDue = false;
  bool mStop = false;
  bool mStopFaults = false;
  bool mStopped = false;
  std::vector<std::thread> mThreads;
  std::thread mFaultsThread;
};

}  // namespace host
