// SPDX-License-Identifier: BSL-1.0
#include "host/SessionHost.h"

#include <cstdio>
#include <exception>
#include <utility>

#include "host/ClientSegments.h"
#include "host/Leftovers.h"
#include "inspect/Evidence.h"
#include "lipc/util/Threads.h"

namespace host {

using inspect::Event;

namespace {

using LIPC::ClientEntry;
using LIPC::ClientID;
using std::chrono::milliseconds;

constexpr milliseconds cSilenceLook(20);
constexpr milliseconds cLeaveTimeout(5000);
constexpr milliseconds cQuietWait(500);
constexpr milliseconds cLeaveLook(20);

std::vector<std::string> checkAndClear() {
  if (isSessionAlive()) {
    throw SessionAliveError(
        "A session is alive on this machine: its host's heartbeat advances. Nothing was touched. "
        "See it with: lipc ls");
  }
  return clearDeadSession();
}

std::vector<std::string> textsOf(const std::vector<ClientID>& ids) {
  std::vector<std::string> texts;
  texts.reserve(ids.size());
  for (const ClientID& id : ids)
    texts.push_back(id.text());
  return texts;
}

std::unique_ptr<SessionConnections> makeConnections() {
  try {
    return std::make_unique<SessionConnections>();
  } catch (const std::exception& error) {
    throw HostError(std::string("The connection pool \"") + LIPC::cConnectionPoolSegment +
                    "\" cannot be made: " + error.what() +
                    ". Make room in the shared memory, or remove as its owner what is left of "
                    "another user's (on Linux both in /dev/shm).");
  }
}

void requireOpen(const LIPC::SemaphoreHandle& handle) {
  if (handle.isOpen()) return;
  throw HostError(
      "A named semaphore of the session cannot be opened. If another user's dead host left it, "
      "remove it as that user (on Linux: the sem. files in /dev/shm).");
}

}  // namespace

SessionHost::SessionHost(const HostOptions& options, inspect::EventSink sink)
    : mOptions(options),
      mMisbehaviour(options.faults),
      mSink(std::move(sink)),
      mRemovedAtStart(checkAndClear()) {
  mConnections = makeConnections();
  mSegments = std::make_unique<SessionSegments>(options);
  LIPC::SessionBuffer& table = session();
  mRegistration = std::make_unique<LIPC::SemaphoreHandle>(table.registrationSemaphore);
  mRegistrationEnded = std::make_unique<LIPC::SemaphoreHandle>(table.registrationEndedSemaphore);
  mClientsCanRegister = std::make_unique<LIPC::SemaphoreHandle>(table.clientsCanRegisterMutex);
  for (const auto* handle : {&mRegistration, &mRegistrationEnded, &mClientsCanRegister})
    requireOpen(**handle);
  requireOpen(LIPC::SemaphoreHandle(table.newAudioDataSemaphore));
  if (!options.faults.noAudio) {
    mAudio =
        std::make_unique<AudioCycle>(table.newAudioDataSemaphore, mMisbehaviour.noAudio,
                                     [this](const std::string& text) { reportFromThread(text); });
  }
  if (options.faults.holdLock) mClientsCanRegister->try_wait();
  if (options.faults.fillTable) fillTable();
  mTableWatch = std::make_unique<inspect::TableWatch>(table, mSink);
  try {
    startThreads();
  } catch (...) {
    stopThreads();
    throw;
  }
}

SessionHost::~SessionHost() {
  stop();
}

void SessionHost::fillTable() {
  for (int index = 0; ClientEntry* row = session().getEmptyEntry(); ++index) {
    char id[32];
    std::snprintf(id, sizeof id, "filler-%04d", index);
    row->id.setTo(id);
    row->type = LIPC::fourCharacterCode("FILL");
    row->setName(id);
    mFillers.insert(row->id);
  }
}

std::thread SessionHost::start(void (SessionHost::*body)(), const char* name) {
  return LIPC::startThread([this, body, name] {
    LIPC::setCurrentThreadName(name);
    try {
      (this->*body)();
    } catch (const std::exception& error) {
      reportFromThread(std::string("the thread \"") + name + "\" ended: " + error.what());
    }
  });
}

void SessionHost::startThreads() {
  mThreads.push_back(start(&SessionHost::beat, "LIPC host heartbeat"));
  mThreads.push_back(start(&SessionHost::watch, "LIPC host watch"));
  if (!mOptions.faults.silent)
    mThreads.push_back(start(&SessionHost::answerRequests, "LIPC host registration"));
  if (mOptions.faults.seed) mFaultsThread = start(&SessionHost::misbehave, "LIPC host faults");
}

void SessionHost::stopThreads() {
  behave();
  {
    const std::lock_guard lock(mStopMutex);
    mStop = true;
  }
  mStopChanged.notify_all();
  mWatchChanged.notify_all();
  mRegistration->post();
  for (std::thread& thread : mThreads)
    thread.join();
  mThreads.clear();
}

void SessionHost::reportFromThread(const std::string& text) {
  const std::lock_guard lock(mMutex);
  note(text);
}

/// False when the host is stopping.
bool SessionHost::sleepUnlessStopped(milliseconds duration) {
  std::unique_lock lock(mStopMutex);
  return !mStopChanged.wait_for(lock, duration, [this] { return mStop; });
}

void SessionHost::answerRequests() {
  for (;;) {
    mRegistration->wait();
    while (mMisbehaviour.silent && sleepUnlessStopped(cSilenceLook)) {
    }
    {
      const std::lock_guard lock(mStopMutex);
      if (mStop) return;
    }
    answerRequest();
  }
}

void SessionHost::answerRequest() {
  const std::lock_guard lock(mMutex);
  bool isJoin = false;
  const ClientID id = session().readRequest(isJoin);
  if (id.isDefined()) {
    if (isJoin) {
      mConnections->takeRenewed();  // what was made anew before has cost this client nothing
      note(mConnections->merge(id));
      if (mAudio) mAudio->add(id);
      mTableWatch->noteJoined(id);
    } else {
      freeRows(id);
      if (mAudio) mAudio->remove(id);
      note(mConnections->reap(id));  // a leaver that dies now has nothing left to withdraw
      mTableWatch->noteLeft(id, Event::eKind::eLeft);
    }
    if (mAudio) mAudio->setConnections(mConnections->current());
  }
  mRegistrationEnded->post();
  freeLock();
  if (mConnections->takeRenewed() && isJoin) askToLeave(id);  // so that it publishes again
}

void SessionHost::freeRows(const ClientID& id) {
  for (ClientEntry& entry : session().entries) {
    if (entry.id.equals(id)) entry.clear();
  }
}

/// Leaves the registration lock with a count of exactly one, also when a client that came back from
/// a long stop posted it once too often.
void SessionHost::freeLock() {
  mLockWatch.restart();
  mClientsCanRegister->clear();
  mClientsCanRegister->post();
}

void SessionHost::note(const std::string& text) {
  if (text.empty()) return;
  Event event;
  event.textAfter = text;
  mSink(event);
}

const ProcessorLibrary& SessionHost::load(const std::string& path) {
  ProcessorLibrary& library = mLibraries.emplace_back(path);
  if (!mCycle)
    mCycle = std::make_unique<ProcessorCycle>(
        session(), mMutex, [this](const std::string& text) { reportFromThread(text); });
  mCycle->add(library);
  return library;
}

std::vector<LIPC::Connection> SessionHost::connections() {
  const std::lock_guard lock(mMutex);
  return mConnections->current();
}

std::vector<std::string> SessionHost::stop(const WaitingReport& waiting) {
  if (mStopped) return {};
  mStopped = true;
  behave();
  if (mCycle) mCycle->stop();
  stopAudio();
  try {
    mSegments->forbidJoins();
  } catch (const HostError& error) {
    reportFromThread(error.what());
  }
  std::vector<std::string> remaining = askAllToLeave(waiting);
  mLibraries.clear();
  stopThreads();
  // Nothing of this host is attached to a client any more.
  mKeptAtStop = removeLeftovers().kept;
  mRegistration.reset();
  mRegistrationEnded.reset();
  mClientsCanRegister.reset();
  mSegments.reset();
  mConnections.reset();
  return remaining;
}

/// The audio's thread may be reporting its end, which takes the lock: it is joined without.
void SessionHost::stopAudio() {
  std::unique_ptr<AudioCycle> audio;
  {
    const std::lock_guard lock(mMutex);
    audio = std::move(mAudio);
  }
}

/// Posts every client's must-disconnect semaphore and waits until the rows are free. Returns who is
/// still there when the time is over.
std::vector<std::string> SessionHost::askAllToLeave(const WaitingReport& waiting) {
  std::set<ClientID> asked;
  const auto start = std::chrono::steady_clock::now();
  for (bool isReported = false;;) {
    const std::vector<ClientID> present = clientsPresent();
    const auto waited = std::chrono::steady_clock::now() - start;
    if (present.empty() || waited >= cLeaveTimeout) return textsOf(present);
    if (!isReported && waited >= cQuietWait) {
      if (waiting) waiting(textsOf(present));
      isReported = true;
    }
    for (const ClientID& id : present) {
      if (asked.insert(id).second) askToLeave(id);
      if (inspect::isDeserted(id)) reapDeserted(id);
    }
    std::this_thread::sleep_for(cLeaveLook);
  }
}

void SessionHost::reapDeserted(const ClientID& id) {
  const std::lock_guard lock(mMutex);
  reap(id, [&] { return inspect::isDeserted(id); });
}

/// The IDs of all rows in use but the fillers'.
std::vector<ClientID> SessionHost::clientsPresent() {
  const std::lock_guard lock(mMutex);
  std::vector<ClientID> present;
  for (const ClientEntry& entry : session().entries) {
    if (!entry.isFree() && mFillers.count(entry.id) == 0) present.push_back(entry.id);
  }
  return present;
}

}  // namespace host
