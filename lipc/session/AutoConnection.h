#pragma once

#include <list>

#include "lipc/session/Connection.h"

namespace LIPC {

/// A rule that produces connections, kept in a client's private state.
struct AutoConnection {
  AutoConnection(int first, Connection::Direction dir, int second)
      : firstChannel(first), secondChannel(second), direction(dir) {}

  /// The connection between the client `a` that has the rule and a found client `b`: from b to a
  /// for direction 0, from a to b for direction 1, marked automatic, without owner and wires.
  /// Connection::mscNull for any other direction. `c` is not used.
  Connection apply(const ClientID& a, const ClientID& b, const ClientID& c) const;
  /// Appends a rule without children.
  void addChild(int first, Connection::Direction dir, int second);

  std::int32_t firstChannel;
  std::int32_t secondChannel;
  Connection::Direction direction;
  std::list<AutoConnection> children;  // rules that apply together with this one
};

/// Matches the connections from `source` to `target`, for std::list::remove_if.
struct ConnectionFinder {
  bool operator()(const Connection& connection) const {
    return connection.source == source && connection.target == target;
  }

  ClientID source;
  ClientID target;
};

/// Collects the connections of one client.
struct ClientConnections {
  /// Appends a copy to `out` and returns true when `id` is set and is the source or the target.
  bool operator()(const Connection& connection) const;

  ClientID id;
  std::list<Connection>& out;
};

}  // namespace LIPC
