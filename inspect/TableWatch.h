// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <map>

#include "inspect/Event.h"
#include "lipc/session/SessionBuffer.h"

namespace inspect {

/// Turns the session table into events: compares it with what it looked like before. Joins and
/// leaves that the host answered are told to it, so that a client that leaves and is back before
/// the next look is reported twice, as it happened.
///
/// Threads: the host's lock guards every call.
class TableWatch {
 public:
  TableWatch(const LIPC::SessionBuffer& session, EventSink sink);

  void noteJoined(const LIPC::ClientID& id);
  void noteLeft(const LIPC::ClientID& id, Event::eKind how);
  /// Reports every difference since the last look. A new row is reported at the third look: until
  /// then its client is still filling it and asking the host.
  void look() { look(*mSession); }
  /// The same for a table that is mapped somewhere else than at the look before, and for its first
  /// so many rows.
  void look(const LIPC::SessionBuffer& session, int rows = LIPC::cMaxClients);
  /// Whether a look at the rows in use and the first one behind them would find anything.
  bool hasNews() const;
  /// The highest index that was seen in use, and one.
  int rowsInUse() const;
  /// Whether there are rows that will be reported at one of the next looks.
  bool hasNewRows() const { return !mNew.empty(); }
  /// The rows in use that are known so far, by index.
  const std::map<int, LIPC::ClientEntry>& rows() const { return mKnown; }

 private:
  void report(Event::eKind kind, int index, const LIPC::ClientEntry& entry);
  void compare(int index, LIPC::ClientEntry& known, const LIPC::ClientEntry& now);

  const LIPC::SessionBuffer* mSession;
  EventSink mSink;
  std::map<int, LIPC::ClientEntry> mKnown;  // rows in use, by index
  std::map<int, int> mNew;                  // rows not reported yet: looks that saw them
};

}  // namespace inspect
