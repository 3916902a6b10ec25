// SPDX-License-Identifier: BSL-1.0
#include "bridges/mqtt/Mirror.h"

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>
#include <utility>

#include <fmt/core.h>

#include "lipc/client/Client.h"
#include "tools/Text.h"

namespace mqtt {
namespace {

constexpr std::chrono::seconds cSettled{1};

}  // namespace

/// Threads: `want` on the owner's; the callbacks on the client's own; what is wanted is written by
/// a third one, since a write waits for as long as the client waits for its host.
class Mirror::Participant final : public LIPC::Client {
 public:
  Participant(const MirroredRow& row, std::string id, Say say)
      : Client(static_cast<int>(row.type), row.name.c_str()),
        mID(std::move(id)),
        mSay(std::move(say)),
        mType(row.type),
        mWanted(row),
        mName(row.name) {
    configBeginEdit();
    configSetMode(LIPC::eClientModeNoAudio);
    configSetClientID(mID.c_str());
    configEndEdit();
    write(row);
    mWriter = std::thread([this] { run(); });
    startLIPCSession(0);
  }
  ~Participant() override {
    {
      const std::lock_guard lock(mWantedMutex);
      mIsOver = true;
    }
    mWake.notify_all();
    stopLIPCSession();
    mWriter.join();
  }

  std::uint32_t type() const { return mType; }

  void want(const MirroredRow& row) {
    const std::lock_guard lock(mWantedMutex);
    mWanted = row;
    mIsDue = true;
    mWake.notify_all();
  }

  void onLIPCConnectionEstablished() override {
    const std::string id = configGetClientID();
    if (id != mID)
      mSay(
          fmt::format("the mirror {} has the ID {} in this session, since another client has its "
                      "own.",
                      tools::printable(mID), id));
    lookAgain();
  }
  void offlineParameterChanged(std::queue<std::pair<unsigned, float>>, const float*) override {
    lookAgain();
  }
  void onLIPCConnectionTick() override { lookAgain(); }
  void onLIPCConnectionTick(const std::deque<LIPC::ClientEntry>*) override { lookAgain(); }

 private:
  /// The row may be other than wanted: others write into it too.
  void lookAgain() {
    const std::lock_guard lock(mWantedMutex);
    mIsDue = true;
    mWake.notify_all();
  }

  void run() {
    std::unique_lock lock(mWantedMutex);
    for (;;) {
      mWake.wait(lock, [this] { return mIsDue || mIsOver; });
      if (mIsOver) return;
      mIsDue = false;
      const MirroredRow row = mWanted;
      lock.unlock();
      write(row);
      lock.lock();
    }
  }

  /// What differs alone.
  void write(const MirroredRow& row) {
    if (row.name != mName) {
      mName = row.name;
      configSetName(mName.c_str());
    }
    LIPC::ClientEntry now;
    const bool isThere = getClientEntryCopy(configGetClientID().c_str(), now);
    for (unsigned i = 0; i < LIPC::cOfflineParameterCount; ++i) {
      const int index = static_cast<int>(i);
      const float has = isThere ? now.offlineParameters[i] : getOfflineParameter(index);
      const float own = getOfflineParameter(index);
      const float wanted = row.parameters[i];
      if (std::memcmp(&has, &wanted, sizeof has) != 0 ||
          std::memcmp(&own, &wanted, sizeof own) != 0)
        setOfflineParameter(index, wanted);
    }
    for (unsigned slot = 0; slot < LIPC::cStringSlotCount; ++slot) {
      const std::string& wanted = row.strings[slot];
      if (isThere ? now.strings[slot].current() != wanted : mTexts[slot] != wanted)
        setString(static_cast<int>(slot), wanted.c_str());
      mTexts[slot] = wanted;
    }
  }

  const std::string mID;
  const Say mSay;
  const std::uint32_t mType;

  std::mutex mWantedMutex;
  std::condition_variable mWake;
  MirroredRow mWanted;
  bool mIsDue = false;
  bool mIsOver = false;

  // The writer's, but for the constructor.
  std::string mName;
  std::array<std::string, LIPC::cStringSlotCount> mTexts;

  std::thread mWriter;
};

Mirror::Mirror(const std::string& site, const std::string& id, std::string localID, Say say)
    : mPath(tools::printable(site + "/" + id)),
      mLocalID(std::move(localID)),
      mSay(std::move(say)),
      mRemote(site, id) {}

Mirror::~Mirror() = default;

bool Mirror::take(const std::string& topic, std::string_view payload) {
  if (!mRemote.take(topic, payload)) return false;
  update();
  return true;
}

void Mirror::forgetWhoIsThere() {
  mRemote.forgetWhoIsThere();
  update();
}

std::optional<std::string> Mirror::news(std::chrono::steady_clock::time_point now) {
  if (!mParticipant) update();
  std::string line = mPath + " " + mRemote.condition();
  if (line != mToSay) {
    mToSay = std::move(line);
    mToSaySince = now;
  }
  if (mToSay == mSaid || now - mToSaySince < cSettled) return std::nullopt;
  return mSaid = mToSay;
}

void Mirror::update() {
  const auto& row = mRemote.row();
  if (!row) return;
  // A client's type is for life.
  if (mParticipant && mParticipant->type() != row->type) {
    mLeaving = std::async(std::launch::async, [old = std::move(mParticipant)]() mutable {
      old.reset();  // that takes as long as its host does not answer
    });
  }
  if (mParticipant) return mParticipant->want(*row);
  if (!mLeaving.valid() || mLeaving.wait_for(std::chrono::seconds(0)) == std::future_status::ready)
    mParticipant = std::make_unique<Participant>(*row, mLocalID, mSay);
}

}  // namespace mqtt
