// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "inspect/Picture.h"

/// What lipc top knows after some looks at a session. Pure: the caller reads the session and the
/// clock. Threads: one.
namespace tools {

using TopTime = std::chrono::steady_clock::time_point;

inline constexpr float cNoLevelDB = -std::numeric_limits<float>::infinity();

/// The highest level of late: it is held for a while, then falls.
class PeakHold {
 public:
  static constexpr std::chrono::milliseconds cHold{1500};
  static constexpr float cFallDBPerSecond = 20.0F;
  static constexpr float cBottomDB = -100.0F;  // below it there is none

  void add(float dB, TopTime now);
  float dB(TopTime now) const;

 private:
  float mDB = cNoLevelDB;
  TopTime mSince{};
};

struct TopMeter {
  float dB = cNoLevelDB;  // peak of the block that was seen last
  float heldDB = cNoLevelDB;
};

/// Of the answers that were seen, each counted once.
struct AnswerCounts {
  std::uint64_t seen = 0;     // that the client had looked for when they were seen
  std::uint64_t missing = 0;  // of these, were not there then
  std::uint64_t late = 0;     // of the missing, were there at another reading
};

struct TopRow {
  enum eLife { eAlive, eStale, eUnknown, eGone };  // gone: left a short while ago

  inspect::ClientPicture client;
  eLife life = eUnknown;
  std::optional<double> blocksPerSecond;
  std::optional<AnswerCounts> answers;  // none where no blocks are announced to the host
  std::vector<TopMeter> send, answer;   // a meter a channel

  const std::vector<TopMeter>& meters(bool ofReturns) const { return ofReturns ? answer : send; }
  /// In the queue to the host, of 63.
  std::optional<unsigned> blocksWaiting() const;
  /// The highest of the held levels.
  float heldDB(bool ofReturns) const;
};

/// Counts the blocks that go through a ring.
class BlockRate {
 public:
  static constexpr std::chrono::milliseconds cWindow{2000};
  static constexpr std::chrono::milliseconds cStillAfter{150};

  void add(const inspect::RingPicture& ring, TopTime now);
  /// None before the second look.
  std::optional<double> perSecond() const;
  /// No block came for a while.
  bool isStill(TopTime now) const { return now - mMoved > cStillAfter; }

 private:
  struct Look {
    TopTime time;
    double blocks;  // since the first look
  };

  std::deque<Look> mLooks;
  std::int64_t mStamp = 0;
  TopTime mMoved{};
};

/// Counts a client's answers out of the slices that its "-return" ring holds at each look.
class AnswerWatch {
 public:
  void add(const inspect::RingPicture& ring);
  /// Another reading of the same ring shortly after: looks only for what came late.
  void addAgain(const inspect::RingPicture& ring);
  const AnswerCounts& counts() const { return mCounts; }
  /// The last look met an answer that was missing.
  bool isAnyMissing() const;

 private:
  std::map<std::int64_t, bool> mSlices;  // stamps counted at the last look; whether it was missing
  AnswerCounts mCounts;
};

class TopModel {
 public:
  static constexpr std::chrono::milliseconds cGoneFor{5000};
  static constexpr std::chrono::milliseconds cStalledAfter{1000};

  /// `isBeatWatched`: each picture tells by itself whether the heartbeat advances. Else several
  /// tell together.
  explicit TopModel(bool isBeatWatched) : mIsBeatWatched(isBeatWatched) {}

  /// A look. Without connections in it, those of an earlier look stay.
  void add(inspect::SessionPicture session, TopTime now);
  struct RingToReadAgain {
    std::string id;                   // client
    std::chrono::milliseconds after;  // about a block
  };
  /// "-return" rings worth a second reading, since an answer is missing that may yet come.
  std::vector<RingToReadAgain> ringsToReadAgain() const;
  void addAnswerAgain(const std::string& id, const inspect::RingPicture& ring);

  /// Of the last look, without its clients.
  const inspect::SessionPicture& session() const { return mSession; }
  /// There is a session that can be read, and its heartbeat stands still.
  bool isHostStalled() const;
  /// By row in the table.
  std::vector<TopRow> rows() const;

 private:
  using Key = std::pair<int, std::string>;
  struct Client {
    inspect::ClientPicture picture;
    TopTime seen{};
    BlockRate sends, answers;
    AnswerWatch answerWatch;
    std::vector<PeakHold> sendPeaks, answerPeaks;
  };

  void addHeartbeat(TopTime now);
  void forgetGone(TopTime now);
  void addClient(inspect::ClientPicture&& picture, TopTime now);
  TopRow rowOf(const Client& client) const;

  bool mIsBeatWatched;
  inspect::SessionPicture mSession;
  std::map<Key, Client> mClients;
  TopTime mNow{};
  std::uint64_t mHeartbeat = 0;
  TopTime mBeat{};  // when it advanced last
  bool mHasBeat = false;
};

}  // namespace tools
