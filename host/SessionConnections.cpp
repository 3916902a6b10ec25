// SPDX-License-Identifier: BSL-1.0
#include "host/SessionConnections.h"

#include <algorithm>
#include <exception>
#include <system_error>

#include "lipc/session/SessionNames.h"

namespace host {

namespace bip = boost::interprocess;
using LIPC::ClientID;
using LIPC::Connection;
using LIPC::ConnectionPool;
using LIPC::SharedConnectionList;

namespace {

template <class Ends>
bool hasEnds(const Connection& connection, const Ends& ends) {
  return connection.source == ends.first && connection.target == ends.second;
}

}  // namespace

SessionConnections::SessionConnections() {
  create();
}

SessionConnections::~SessionConnections() {
  mPool.reset();
  ConnectionPool::remove();
}

void SessionConnections::create() {
  mPool.reset();
  ConnectionPool::remove();
  mPool = std::make_unique<ConnectionPool>(ConnectionPool::create(cPoolBytes));
  mPool->change([&](LIPC::PoolManager& manager) {
    mList = manager.construct<SharedConnectionList>(LIPC::cConnectionListName)(&manager);
    mListed.clear();
    for (const Connection& connection : mMirror)
      list(connection);
  });
}

void SessionConnections::list(const Connection& connection) {
  mList->push_back(connection);
  mListed.emplace_back(connection.source, connection.target);
}

/// Nobody but the host adds to its list or takes out of it; somebody wrote over it when it holds
/// others than the host put there, or does not go by its name any more.
void SessionConnections::requireOwnList(LIPC::PoolManager& manager) const {
  mPool->requireWhole(*mList);
  const bool isOwn =
      std::equal(mList->begin(), mList->end(), mListed.begin(), mListed.end(), hasEnds<Ends>);
  const bool isFound = manager.find<SharedConnectionList>(LIPC::cConnectionListName).first == mList;
  if (!isOwn || !isFound) {
    throw bip::interprocess_exception(bip::error_info(bip::corrupted_error),
                                      "the session's connections were written over");
  }
}

/// Runs an operation with the pool's lock held, when pool and list are whole; makes the pool anew
/// when they are not, or when the lock is not to be had.
template <class Operation>
std::string SessionConnections::mended(Operation operation) {
  try {
    if (!mPool) create();
    mPool->change([&](LIPC::PoolManager& manager) {
      requireOwnList(manager);
      operation(manager);
    });
    return {};
  } catch (const bip::bad_alloc&) {
    return "the connection pool is full: connections were left out";
  } catch (const bip::interprocess_exception& error) {
    return renew(error.what());
  } catch (const std::system_error& error) {
    return renew(error.what());
  }
}

std::string SessionConnections::renew(const char* reason) {
  const std::string why = reason;
  try {
    create();
    mRenewed = true;
    return "the connection pool was made anew (" + why + ")";
  } catch (const std::exception& error) {
    mPool.reset();
    return std::string("there is no connection pool, and none can be made: ") + error.what();
  }
}

/// What the client had published before and does not publish now goes: it may have died and come
/// back before anybody noticed.
std::string SessionConnections::merge(const ClientID& id) {
  const std::vector<Ends> gone = forget(id);
  return mended([&](LIPC::PoolManager& manager) {
    const std::string name = id.text();
    const auto* own = manager.find<SharedConnectionList>(name.c_str()).first;
    std::vector<Connection> connections;
    if (own != nullptr) {
      mPool->requireWhole(*own);
      LIPC::forEachConnection(*mPool, *own, [&](const Connection& connection) {
        if (connection.isDefined()) connections.push_back(connection);
      });
    }
    erase(gone);
    for (const Connection& connection : connections) {
      put(connection);
      mPublished[id].emplace_back(connection.source, connection.target);
    }
  });
}

void SessionConnections::put(const Connection& connection) {
  const auto isSame = [&](const Connection& held) { return haveSameEnds(held, connection); };
  const auto shared = std::find_if(mList->begin(), mList->end(), isSame);
  if (shared != mList->end()) {
    *shared = connection;
  } else {
    list(connection);
  }
  const auto known = std::find_if(mMirror.begin(), mMirror.end(), isSame);
  if (known != mMirror.end()) {
    *known = connection;
  } else {
    mMirror.push_back(connection);
  }
}

std::string SessionConnections::takeOut(const ClientID& id) {
  const std::vector<Ends> gone = forget(id);
  if (gone.empty()) return {};
  return mended([&](LIPC::PoolManager&) { erase(gone); });
}

/// Forgets what the client had published, in the mirror too, and returns which connections nobody
/// publishes any more.
std::vector<SessionConnections::Ends> SessionConnections::forget(const ClientID& id) {
  std::vector<Ends> gone;
  const auto own = mPublished.find(id);
  if (own == mPublished.end()) return gone;
  const std::vector<Ends> published = std::move(own->second);
  mPublished.erase(own);
  for (const Ends& ends : published) {
    const bool isHeld = std::any_of(mPublished.begin(), mPublished.end(), [&](const auto& other) {
      return std::find(other.second.begin(), other.second.end(), ends) != other.second.end();
    });
    if (isHeld) continue;
    gone.push_back(ends);
    std::erase_if(mMirror, [&](const Connection& held) { return hasEnds(held, ends); });
  }
  return gone;
}

void SessionConnections::erase(const std::vector<Ends>& gone) {
  for (const Ends& ends : gone) {
    mList->remove_if([&](const Connection& held) { return hasEnds(held, ends); });
    std::erase(mListed, ends);
  }
}

std::string SessionConnections::reap(const ClientID& id) {
  const std::string note = takeOut(id);
  const std::string listNote =
      mended([&](LIPC::PoolManager&) { mPool->destroy(id.text().c_str()); });
  return note.empty() ? listNote : note;
}

std::vector<ClientID> SessionConnections::findOrphans(const LIPC::SessionBuffer& session,
                                                      std::string& note) {
  std::vector<ClientID> orphans;
  note = mended([&](LIPC::PoolManager& manager) {
    for (auto it = manager.named_begin(); it != manager.named_end(); ++it) {
      const std::string name(it->name(), it->name_length());
      if (name.size() > ClientID::cCharacters) continue;  // no client's
      const ClientID id(name);
      const bool isRow = session.getClientIndex(id) < LIPC::cMaxClients;
      if (name != LIPC::cConnectionListName && !isRow) orphans.push_back(id);
    }
  });
  return orphans;
}

std::vector<Connection> SessionConnections::current() const {
  if (!mPool) return mMirror;
  std::vector<Connection> connections;
  LIPC::forEachConnection(*mPool, *mList,
                          [&](const Connection& connection) { connections.push_back(connection); });
  return connections;
}

}  // namespace host
