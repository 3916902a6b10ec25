// SPDX-License-Identifier: BSL-1.0

// The configured connections and rules. The edit lock is held for each access to the lists, so that
// a join or a leave finds them whole; what the application does through a reference is its own.
#include <algorithm>
#include <cstdio>
#include <exception>

#include "lipc/client/Client.h"
#include "lipc/util/Log.h"

namespace LIPC {
namespace {

template <class Connections>
auto findEnds(Connections& connections, const ClientID& source, const ClientID& target) {
  return std::find_if(connections.begin(), connections.end(), ConnectionFinder{source, target});
}

/// The first connection that has `id` at either end.
template <class Connections>
auto findEither(Connections& connections, const ClientID& id) {
  std::list<Connection> matched;
  return std::find_if(connections.begin(), connections.end(), ClientConnections{id, matched});
}

template <class Iterator, class Connections>
const Connection& foundOrNull(Iterator found, const Connections& connections) {
  return found != connections.end() ? *found : Connection::mscNull;
}

}  // namespace

Connection& Client::configEditConnection(const ClientID& source, const ClientID& target) {
  return editConnection(source, target, 0);
}

Connection& Client::configEditConnection(const ClientID& target) {
  return editConnection(target, 0);
}

void Client::configDisconnect(const ClientID& source, const ClientID& target) {
  editConnection(source, target, 1);
}

void Client::configDisconnect(const ClientID& target) {
  editConnection(target, 1);
}

Connection& Client::editConnection(const ClientID& source, const ClientID& target,
                                   std::uint8_t disconnect) {
  const std::lock_guard edit(mEditMutex);
  const auto found = findEnds(mConnections, source, target);
  return edited(
      found != mConnections.end() ? *found : mConnections.emplace_back(source, target, ClientID()),
      disconnect);
}

Connection& Client::editConnection(const ClientID& target, std::uint8_t disconnect) {
  const std::lock_guard edit(mEditMutex);
  const auto found = findEither(mConnections, target);
  if (found != mConnections.end()) return edited(*found, disconnect);
  const ClientID source(mConfig.current().clientID);
  return edited(mConnections.emplace_back(source, target, ClientID()), disconnect);
}

/// From here on the next leave does not take over what the session makes of it.
Connection& Client::edited(Connection& connection, std::uint8_t disconnect) {
  mConfig.markChanged();
  forgetJoined(connection);
  connection.disconnectRequested = disconnect;
  return connection;
}

void Client::forgetJoined(const Connection& connection) {
  mJoinedConnections.remove_if(ConnectionFinder{connection.source, connection.target});
}

const Connection& Client::configGetConnection(const ClientID& source,
                                              const ClientID& target) const {
  const std::lock_guard edit(mEditMutex);
  return foundOrNull(findEnds(mConnections, source, target), mConnections);
}

const Connection& Client::configGetConnection(const ClientID& target) const {
  const std::lock_guard edit(mEditMutex);
  return foundOrNull(findEither(mConnections, target), mConnections);
}

std::list<Connection>& Client::configGetConnections() {
  return mConnections;
}

const std::list<Connection>& Client::configGetConnections() const {
  return mConnections;
}

std::size_t Client::configGetConnectionCount() const {
  const std::lock_guard edit(mEditMutex);
  return mConnections.size();
}

void Client::configAutoConnect(const AutoConnection& rule) {
  const std::lock_guard edit(mEditMutex);
  mAutoConnections.push_back(rule);
}

void Client::clearAutoConnect() {
  const std::lock_guard edit(mEditMutex);
  mAutoConnections.clear();
}

void Client::syncClientConnections() {
  const std::lock_guard lock(mMutex);
  if (!mConnected) return;
  const SessionBuffer* session = sessionOrWarn("syncClientConnections");
  if (session == nullptr) return;
  try {
    std::list<Connection> current;
    session->getClientConnections(ClientID(configGetClientID()), current, 0, false);
    const std::lock_guard edit(mEditMutex);
    for (const Connection& live : current) {
      if (live.source.view().empty()) break;
      if (live.isDefined()) takeOver(live);
    }
  } catch (const std::exception& error) {
    mConnected = false;  // the next pass leaves and joins again
    Lct::Log(Lct::eLogWarn, "syncClientConnections", "the session's connections were not read: %s",
             error.what());
  }
}

/// deliberate: the lines begin with a line feed and end without one, and go past the log.
void Client::takeOver(const Connection& live) {
  const auto say = [&](const char* what) {
    std::printf("\nsyncClientConnections %s from client id = %s (name = %s) to tar = %.64s", what,
                mConfig.active().clientID.c_str(), mName.c_str(), live.target.id);
  };
  const auto configured = findEnds(mConnections, live.source, live.target);
  const bool isConfigured = configured != mConnections.end();
  if (live.disconnectRequested == 0) {
    if (isConfigured) return;
    mConnections.push_back(live);
    mJoinedConnections.push_back(live);  // not an edit
    say("ADD con");
  } else if (isConfigured) {
    if (configured->disconnectRequested != 0) return;  // cut by the user, who has to revive it
    forgetJoined(*configured);
    mConnections.erase(configured);
    say("ERASE Disconnected con");
  } else {
    say("DISCONNECTED con NOT added");
  }
}

}  // namespace LIPC
