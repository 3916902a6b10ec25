// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>

#include "bridges/mqtt/RemoteClient.h"

namespace mqtt {

/// A client of another site as a participant of this machine's session: its type, parameters,
/// strings and name. What others write into its row is written over. It begins when the remote one
/// has been known whole once, and stays from then on.
///
/// Threads: one, the caller's. A client and a writer of its own keep it in the session, so that a
/// session that hangs holds up nobody here.
class Mirror {
 public:
  /// A sentence for people; from any thread.
  using Say = std::function<void(const std::string&)>;

  /// `localID`: that it has in this machine's session.
  Mirror(const std::string& site, const std::string& id, std::string localID, Say say);
  ~Mirror();
  Mirror(const Mirror&) = delete;
  Mirror& operator=(const Mirror&) = delete;

  std::vector<std::string> filters() const { return mRemote.filters(); }
  /// Throws BadMessage.
  bool take(const std::string& topic, std::string_view payload);
  void forgetWhoIsThere();
  /// To be called now and then. A line on how it is, when that has been other than in the last one
  /// for a second.
  std::optional<std::string> news(std::chrono::steady_clock::time_point now);

 private:
  class Participant;

  void update();

  const std::string mPath;  // SITE/ID, for people
  const std::string mLocalID;
  const Say mSay;
  RemoteClient mRemote;
  std::unique_ptr<Participant> mParticipant;
  std::future<void> mLeaving;  // the last one, of another type; the next waits for its ID
  std::string mSaid;
  std::string mToSay;
  std::chrono::steady_clock::time_point mToSaySince{};
};

}  // namespace mqtt
