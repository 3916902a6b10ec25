// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <list>

#include "lipc/session/Connection.h"
#include "lipc/util/Export.h"

namespace LIPC {

/// A rule that produces connections, kept in a client's private state and resolved in each of its
/// joins. The two numbers carry, in place of channels, whom the rule looks for: every client of a
/// type, or the host's reference client, which then stands for its type in the rules that follow. A
/// client is never its own target, and what its list holds already, cut ones included, is not made
/// again.
///
/// Threads: none of its own.
///
/// @ingroup connections
struct LIPC_API AutoConnection {
  /// Without children.
  AutoConnection(int first, Connection::Direction dir, int second)
      : firstChannel(first), secondChannel(second), direction(dir) {}

  /// The connection between the client `a` that has the rule and a found client `b`: from b to a
  /// for direction 0, from a to b for direction 1, marked automatic, without owner and wires.
  /// Connection::mscNull for any other direction. `c` is not used.
  Connection apply(const ClientID& a, const ClientID& b, const ClientID& c) const;
  /// Appends a rule without children, which applies to what this one finds: of the child only the
  /// direction counts.
  void addChild(int first, Connection::Direction dir, int second);

  std::int32_t firstChannel;           ///< four-character type of the clients looked for
  std::int32_t secondChannel;          ///< not 0: the reference client of that type is preferred
  Connection::Direction direction;     ///< eSourceSide: from the found client; eTargetSide: to it
  std::list<AutoConnection> children;  ///< rules that apply together with this one
};

/// Matches the connections from `source` to `target`, for std::list::remove_if.
/// @ingroup connections
struct LIPC_API ConnectionFinder {
  /// Unset IDs match as any others.
  bool operator()(const Connection& connection) const {
    return connection.source == source && connection.target == target;
  }

  ClientID source;  ///< 64 characters are compared
  ClientID target;  ///< as well
};

/// Collects the connections of one client.
/// @ingroup connections
struct LIPC_API ClientConnections {
  /// Appends a copy to `out` and returns true when `id` is set and is the source or the target.
  bool operator()(const Connection& connection) const;

  ClientID id;                 ///< unset: matches none
  std::list<Connection>& out;  ///< is appended to; outlives this object
};

}  // namespace LIPC
