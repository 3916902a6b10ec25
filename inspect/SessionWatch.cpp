// SPDX-License-Identifier: BSL-1.0
#include "inspect/SessionWatch.h"

#include <algorithm>
#include <map>
#include <set>
#include <thread>

#include "inspect/ClientWatch.h"
#include "inspect/LockWatch.h"
#include "inspect/Source.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/session/ShmManaged.h"
#include "lipc/util/SharedWord.h"
#include "lipc/util/platform/MachinePlatform.h"

namespace inspect {
namespace {

using SteadyTime = std::chrono::steady_clock::time_point;

constexpr std::chrono::milliseconds cLookInterval{100};

class Watch {
 public:
  explicit Watch(Source& source) : mSource(source) {}

  void look(SteadyTime now) {
    const Mapping mapping = mSource.attach(LIPC::cSessionSegment);
    const auto* table = mapping.as<LIPC::SessionBuffer>();
    mWatched.isTableThere = table != nullptr;
    if (table == nullptr) return;
    lookAtHeartbeat(LIPC::loadAcquire(table->heartbeat));
    lookAtLock(table->clientsCanRegisterMutex, now);
    std::set<LIPC::ClientID> present;
    for (const LIPC::ClientEntry& entry : table->entries) {
      const LIPC::ClientID id = entry.id;
      if (id.isDefined() && present.insert(id).second) lookAtClient(id, now);
    }
    mClients.keepOnly(present);
    for (auto seen = mSeen.begin(); seen != mSeen.end();) {
      if (present.count(seen->first) != 0) {
        ++seen;
        continue;
      }
      mWatched.gone.push_back(watched(*seen, now));
      mWatched.gone.back().maker = processFacts(seen->second.maker);
      seen = mSeen.erase(seen);
    }
  }

  Watched result(std::chrono::milliseconds duration, SteadyTime now) {
    mWatched.milliseconds = duration.count();
    for (const auto& seen : mSeen)
      mWatched.clients.push_back(watched(seen, now));
    return std::move(mWatched);
  }

 private:
  struct Seen {
    std::optional<std::string> stamp;
    SteadyTime since;
    std::int32_t changes = 0;
    bool isLost = false;
    pid_t maker = 0;
  };

  static WatchedClient watched(const std::pair<const LIPC::ClientID, Seen>& client,
                               SteadyTime now) {
    const auto& [id, seen] = client;
    const auto unchanged = std::chrono::duration_cast<std::chrono::milliseconds>(now - seen.since);
    return {id.text(), seen.stamp.has_value(), seen.isLost, unchanged.count(), seen.changes, {}};
  }

  pid_t makerOf(const LIPC::ClientID& id) {
    const auto segment = LIPC::ShmManaged::find(id.text().c_str());
    return segment ? segment->creator : 0;
  }

  static ProcessFacts processFacts(pid_t process) {
    LIPC::platform::ProcessState state = LIPC::platform::processState(process);
    return {process, state.lives, state.isStopped, std::move(state.command)};
  }

  void lookAtHeartbeat(std::uint64_t heartbeat) {
    if (mHasLooked && heartbeat > mWatched.heartbeat) {
      mWatched.beats += static_cast<std::int32_t>(
          std::min<std::uint64_t>(heartbeat - mWatched.heartbeat, 1'000'000));
    } else if (mHasLooked && heartbeat < mWatched.heartbeat) {
      ++mWatched.heartbeatsBack;
    }
    mWatched.heartbeat = heartbeat;
    mHasLooked = true;
  }

  void lookAtLock(const LIPC::Semaphore& lock, SteadyTime now) {
    mWatched.lockCount.reset();
    if (lock.isWellFormed()) mWatched.lockCount = LIPC::platform::semaphoreCount(lock.posixName);
    if (!mWatched.lockCount || *mWatched.lockCount > 0) {
      mLock.restart();
      mWatched.isLockStuck = false;
    } else {
      mWatched.isLockStuck = mLock.isStuck(now);
    }
  }

  void lookAtClient(const LIPC::ClientID& id, SteadyTime now) {
    const Mapping mapping = mSource.attach(id.text());
    const auto* buffer = mapping.as<LIPC::ClientBuffer>();
    std::optional<std::string> stamp;
    if (buffer != nullptr) stamp = std::string(buffer->stampText());
    const auto [entry, isNew] = mSeen.try_emplace(id, Seen{stamp, now});
    Seen& seen = entry->second;
    if (isNew) seen.maker = makerOf(id);
    if (!isNew && seen.stamp != stamp) {
      ++seen.changes;
      seen.stamp = stamp;
      seen.since = now;
    }
    seen.isLost = mClients.isLost(id, stamp, now);
  }

  Source& mSource;
  Watched mWatched;
  bool mHasLooked = false;
  LockWatch mLock;
  ClientWatch mClients;
  std::map<LIPC::ClientID, Seen> mSeen;
};

}  // namespace

const WatchedClient* Watched::find(const std::string& id) const {
  const auto found = std::find_if(clients.begin(), clients.end(),
                                  [&](const WatchedClient& client) { return client.id == id; });
  return found != clients.end() ? &*found : nullptr;
}

Watched watchSession(Source& source, std::chrono::milliseconds duration,
                     const std::function<bool(double)>& progress) {
  using std::chrono::steady_clock;
  Watch watch(source);
  const SteadyTime start = steady_clock::now();
  SteadyTime now = start;
  for (;;) {
    watch.look(now);
    const std::chrono::duration<double> done = now - start;
    const double part = duration.count() > 0 ? std::min(1.0, done / duration) : 1.0;
    if (!progress(part) || part >= 1.0) break;
    std::this_thread::sleep_for(cLookInterval);
    now = steady_clock::now();
  }
  return watch.result(std::chrono::duration_cast<std::chrono::milliseconds>(now - start), now);
}

}  // namespace inspect
