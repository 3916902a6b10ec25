// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "bridges/mqtt/Outbox.h"
#include "bridges/mqtt/RowLook.h"
#include "bridges/mqtt/Topic.h"
#include "inspect/SessionFollower.h"
#include "inspect/Source.h"

namespace mqtt {

/// Reads this machine's session and keeps the outbox true: the host, each client's row, its values
/// and its connections. It only reads, and takes no row of the session for itself.
///
///   cLookInterval      rows, parameters, strings
///   cFollowInterval    or, while nothing changes, cRestInterval: who came, left or was lost, the
///                      heartbeat, the connections
///
/// A value has a topic when it is another than the one that nobody has set, or when the tables
/// have a name for it; it then keeps it for as long as its client is there.
///
/// Threads: one.
class Publisher {
 public:
  using Time = std::chrono::steady_clock::time_point;
  /// A look finds a change after half of it on average.
  static constexpr std::chrono::milliseconds cLookInterval{40};
  static constexpr std::chrono::milliseconds cFollowInterval{100};
  static constexpr std::chrono::milliseconds cRestInterval{500};
  static constexpr std::size_t cMostEvents = 1000;  // that wait for a broker

  Publisher(inspect::Source& source, const SiteTopics& topics, Outbox& outbox);

  /// Looks at what is due.
  void look(Time now);
  Time nextLook() const { return mNextRows; }
  /// What happened since it was asked last, as JSON; the oldest are lost where too many wait.
  std::deque<std::string>& events() { return mEvents; }
  /// What the broker has from earlier under one of this site's topics.
  void found(const std::string& topic, std::string_view payload);

  std::size_t clients() const { return mRows.size(); }
  const inspect::ClientPicture* client(const std::string& id) const;

 private:
  struct Client {
    inspect::ClientPicture picture;
    std::set<tools::ValuePlace> published;
  };

  void takeRow(int index, const LIPC::ClientEntry& row);
  void freeRow(int index);
  bool publishValue(Client& client, const tools::ValuePlace& place);
  void publishRow(const Client& client);
  void publishConnections(const std::string& id);
  void publishHost(int watchHeartbeatMS);
  void follow(Time now);
  void takeEvent(const inspect::Event& event);
  void readConnections();
  Client* find(const std::string& id);

  inspect::Source& mSource;
  const SiteTopics mTopics;
  Outbox& mOutbox;

  RowLook mLook;
  inspect::SessionFollower mFollower;
  std::map<int, Client> mRows;                      // by row
  std::map<std::string, int> mRowOf;                // by ID; the first row that has it
  std::map<std::string, std::string> mConnections;  // payloads, by ID
  bool mIsPoolRead = false;
  bool mAreConnectionsDue = true;
  bool mIsStalled = false;
  std::deque<std::string> mEvents;
  Time mNextRows{};
  Time mLastFollow{};
  Time mNextHost{};
  Time mLastChange{};
};

}  // namespace mqtt
