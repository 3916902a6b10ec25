// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "inspect/SessionFollower.h"
#include "inspect/Source.h"
#include "tools/serve/PageJson.h"

namespace tools {

/// Reads a session for any number of lookers, in one thread, and only while somebody looks. Each
/// looker gets what has changed since it asked last, as server-sent events: a slow one misses
/// levels in between and gets the latest of everything, so that nothing waits for it here.
///
/// Threads: any.
class SessionFeed {
 public:
  static constexpr std::chrono::milliseconds cLookInterval{200};
  /// Of all rows of the table, which is large; in between those that are known to be used.
  static constexpr std::chrono::milliseconds cAllRowsInterval{1000};
  static constexpr int cRowsAhead = 16;
  static constexpr std::size_t cMostEvents = 200;  // that are kept for a page that opens

  /// `from`: the snapshot's path, where the source is one; it is read once.
  SessionFeed(std::unique_ptr<inspect::Source> source, std::string from);
  ~SessionFeed();
  SessionFeed(const SessionFeed&) = delete;
  SessionFeed& operator=(const SessionFeed&) = delete;

  /// Nobody gets anything any more.
  void close();

  /// Somebody who looks, for as long as the object lives. Threads: one.
  class Looker {
   public:
    /// `isThorough`: wants a picture with the clients' segments, which takes longer to make.
    explicit Looker(SessionFeed& feed, bool isThorough = false);
    ~Looker();
    Looker(const Looker&) = delete;
    Looker& operator=(const Looker&) = delete;

    /// What has changed, or after `limit` that nothing has; none when the feed is closed.
    std::optional<std::string> next(std::chrono::milliseconds limit);
    /// The drawing of the session; empty when the feed is closed or the time is over.
    std::string graph(std::chrono::milliseconds limit);
    /// The session as it is now; null when the feed is closed or the time is over.
    std::shared_ptr<const PagePicture> picture(std::chrono::milliseconds limit);

   private:
    SessionFeed& mFeed;
    const bool mIsThorough;
    std::uint64_t mSeen = 0;  // number of the newest message that it has got
  };

 private:
  /// A message's text, as it goes over the wire.
  struct Message {
    std::uint64_t number;
    std::string text;
  };
  enum eOrder { eSession, eClient, eLevels };
  using Messages = std::map<std::pair<eOrder, std::string>, std::string>;

  void run();
  void begin();
  void follow();
  std::shared_ptr<const PagePicture> look(bool isThorough);
  inspect::SessionPicture read(bool isThorough);
  void judge(PagePicture& picture);
  void draw(PagePicture& picture);
  Messages messagesOf(const PagePicture& picture) const;
  void publish(Messages messages);
  std::string eventsSince(std::uint64_t number) const;

  const std::unique_ptr<inspect::Source> mSource;
  const std::string mFrom;

  // The reading thread's.
  TopModel mModel;
  std::optional<inspect::SessionFollower> mFollower;
  std::vector<std::string> mHappened;  // at this look
  bool mIsFollowDue = false;           // at every second look
  bool mIsFirst = true;                // look since nobody looked
  TopTime mAllRowsDue{};
  int mRows = 0;                   // that are looked at in between
  bool mIsComplete = false;        // all rows were looked at
  bool mAreConnectionsDue = true;  // the follower saw that they are others
  std::uint64_t mHeartbeat = 0;
  bool mIsStalled = false;

  int mGraphNumber = 0;

  std::mutex mMutex;
  std::condition_variable mWake;     // somebody looks, or the feed is closed
  std::condition_variable mChanged;  // there is something new
  bool mIsClosed = false;
  int mLookers = 0;
  int mThoroughLookers = 0;
  std::shared_ptr<const PagePicture> mPicture;  // null where nobody has looked yet
  std::string mGraph;                           // written by the reading thread alone
  std::uint64_t mNumber = 0;
  std::map<std::pair<eOrder, std::string>, Message> mMessages;
  std::deque<Message> mEvents;

  std::thread mThread;
};

}  // namespace tools
