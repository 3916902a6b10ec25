// SPDX-License-Identifier: BSL-1.0
#include "lipc/session/AutoConnection.h"

namespace LIPC {

Connection AutoConnection::apply(const ClientID& a, const ClientID& b, const ClientID&) const {
  Connection connection;
  connection.isAuto = 1;
  switch (direction) {
    case Connection::eSourceSide:
      connection.source = b;
      connection.target = a;
      return connection;
    case Connection::eTargetSide:
      connection.source = a;
      connection.target = b;
      return connection;
  }
  return Connection::mscNull;
}

void AutoConnection::addChild(int first, Connection::Direction dir, int second) {
  children.emplace_back(first, dir, second);
}

bool ClientConnections::operator()(const Connection& connection) const {
  const bool concerned = id.isDefined() && (id == connection.source || id == connection.target);
  if (concerned) out.push_back(connection);
  return concerned;
}

}  // namespace LIPC
