// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <map>
#include <utility>
#include <vector>

#include "inspect/Event.h"
#include "lipc/session/Connection.h"

namespace inspect {

/// Turns the session's list of connections into events: compares it with what it looked like
/// before. A connection that a client asked to remove counts as cut from then on.
///
/// Pure: the caller reads the list. Threads: one.
class ConnectionWatch {
 public:
  /// The first look reports every connection as present.
  void look(const std::vector<LIPC::Connection>& list, const EventSink& sink);

 private:
  using Ends = std::pair<LIPC::ClientID, LIPC::ClientID>;
  struct Seen {
    Event::Wires wires;
    bool isAuto = false;
  };

  bool mHasLooked = false;
  std::map<Ends, Seen> mSeen;
};

/// The wires of a connection, in its order, fields that are unused left out.
Event::Wires wiresOf(const LIPC::Connection& connection);

}  // namespace inspect
