// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "inspect/ClientWatch.h"
#include "inspect/ConnectionWatch.h"
#include "inspect/Event.h"
#include "inspect/Picture.h"
#include "inspect/TableWatch.h"
#include "inspect/WatchedTime.h"
#include "lipc/session/ClientID.h"

namespace inspect {

/// Follows a session without its host: what has happened since the last look, in order. The first
/// look at a session reports it, and what is there, as present. A session that goes and comes, or
/// whose host is replaced, is followed on.
///
///   every look      rows, parameters, strings, the heartbeat
///   twice a second  the clients' stamps
///   once a second   the connections, and when somebody came or went
///
/// Nothing stays attached between looks: who counts attachments never counts this reader.
///
/// Threads: one at a time.
class SessionFollower {
 public:
  using SteadyTime = std::chrono::steady_clock::time_point;

  /// How often it wants to look.
  static constexpr std::chrono::milliseconds cLookInterval{100};
  /// Of the heartbeat. A host beats ten times a second.
  static constexpr std::chrono::milliseconds cHeartbeatLostAfter{2000};

  SessionFollower() = default;
  SessionFollower(const SessionFollower&) = delete;
  SessionFollower& operator=(const SessionFollower&) = delete;

  std::vector<Event> look(Source& source, SteadyTime now = std::chrono::steady_clock::now());
  /// What the last look found: it follows a session that can be read.
  SessionPicture::eState state() const { return mState; }

 private:
  struct Stamp {
    std::optional<std::string> text;
    SteadyTime since;
    bool isLost = false;      // and that was reported
    bool isDeserted = false;  // nobody has its buffer attached
  };

  void arrive(const LIPC::SessionBuffer& table, Source& source);
  void depart();
  int rowsToLookAt();
  void lookAtHeartbeat(std::uint64_t heartbeat);
  void takeRowEvent(Event event);
  void lookAtStamps(const LIPC::SessionBuffer& table, Source& source);
  void lookAtStamp(int index, const LIPC::ClientID& id, const LIPC::ClientEntry& row,
                   Source& source);
  void lookAtConnections(const LIPC::SessionBuffer& table, Source& source);

  SessionPicture::eState mState = SessionPicture::eNone;
  std::vector<Event> mEvents;  // of this look

  // Of the session that is followed.
  std::optional<TableWatch> mTable;
  ClientWatch mClients;
  std::map<LIPC::ClientID, Stamp> mStamps;
  ConnectionWatch mConnections;
  std::string mPoolError;
  std::optional<std::uint64_t> mPoolSum;
  std::uint64_t mHeartbeat = 0;
  std::optional<WatchedTime> mHeartbeatUnchanged;
  bool mIsHeartbeatLost = false;
  bool mIsHostNew = false;  // since the look before
  SteadyTime mNextStamps;
  SteadyTime mNextWholeTable;
  SteadyTime mNextConnections;
  SteadyTime mNow;  // of this look
};

}  // namespace inspect
