#include "host/SessionConnections.h"

#include <algorithm>
#include <exception>

#include <boost/interprocess/shared_memory_object.hpp>

#include "lipc/session/SessionNames.h"

namespace host {

namespace bip = boost::interprocess;
using LIPC::ClientID;
using LIPC::Connection;
using LIPC::SharedConnectionList;

SessionConnections::SessionConnections() {
  create();
}

SessionConnections::~SessionConnections() {
  mPool.reset();
  bip::shared_memory_object::remove(LIPC::cConnectionPoolSegment);
}

void SessionConnections::create() {
  mPool.reset();
  bip::shared_memory_object::remove(LIPC::cConnectionPoolSegment);
  mPool = std::make_unique<bip::managed_shared_memory>(
      bip::create_only, LIPC::cConnectionPoolSegment, cPoolBytes, nullptr, bip::permissions(0666));
  mList = mPool->construct<SharedConnectionList>(LIPC::cConnectionListName)(
      mPool->get_segment_manager());
  mList->assign(mMirror.begin(), mMirror.end());
}

/// Runs an operation on the pool; makes the pool anew when its lock is not to be had.
template <class Operation>
std::string SessionConnections::mended(Operation operation) {
  try {
    if (!mPool) create();
    return operation();
  } catch (const bip::bad_alloc&) {
    return "the connection pool is full: connections were left out";
  } catch (const bip::interprocess_exception& error) {
    return renew(error.what());
  }
}

std::string SessionConnections::renew(const char* reason) {
  try {
    create();
    mRenewed = true;
    return std::string("the connection pool was made anew (") + reason + ")";
  } catch (const std::exception& error) {
    mPool.reset();
    return std::string("there is no connection pool, and none can be made: ") + error.what();
  }
}

std::string SessionConnections::merge(const ClientID& id) {
  return mended([&] { return mergeList(id); });
}

std::string SessionConnections::mergeList(const ClientID& id) {
  const auto* own = mPool->find<SharedConnectionList>(id.text().c_str()).first;
  std::vector<Ends>& published = mPublished[id];
  published.clear();
  if (own == nullptr) return {};
  std::vector<Connection> connections;
  LIPC::forEachConnection(*mPool, *own,
                          [&](const Connection& connection) { connections.push_back(connection); });
  for (const Connection& connection : connections) {
    if (!connection.isDefined()) continue;
    put(connection);
    published.emplace_back(connection.source, connection.target);
  }
  return {};
}

void SessionConnections::put(const Connection& connection) {
  const auto isSame = [&](const Connection& held) { return haveSameEnds(held, connection); };
  const auto known = std::find_if(mMirror.begin(), mMirror.end(), isSame);
  if (known == mMirror.end()) {
    mList->push_back(connection);
    mMirror.push_back(connection);
    return;
  }
  *known = connection;
  const auto shared = std::find_if(mList->begin(), mList->end(), isSame);
  if (shared != mList->end()) *shared = connection;
}

std::string SessionConnections::takeOut(const ClientID& id) {
  const auto own = mPublished.find(id);
  if (own == mPublished.end()) return {};
  const std::vector<Ends> published = std::move(own->second);
  mPublished.erase(own);
  return mended([&] {
    for (const Ends& ends : published) {
      const bool isHeld = std::any_of(mPublished.begin(), mPublished.end(), [&](const auto& other) {
        return std::find(other.second.begin(), other.second.end(), ends) != other.second.end();
      });
      if (!isHeld) erase(ends);
    }
    return std::string();
  });
}

void SessionConnections::erase(const Ends& ends) {
  const auto isIt = [&](const Connection& connection) {
    return connection.source == ends.first && connection.target == ends.second;
  };
  mMirror.erase(std::remove_if(mMirror.begin(), mMirror.end(), isIt), mMirror.end());
  mList->remove_if(isIt);
}

std::string SessionConnections::reap(const ClientID& id) {
  const std::string note = takeOut(id);
  const std::string listNote = mended([&] {
    mPool->destroy<SharedConnectionList>(id.text().c_str());
    return std::string();
  });
  return note.empty() ? listNote : note;
}

std::vector<ClientID> SessionConnections::findOrphans(const LIPC::SessionBuffer& session,
                                                      std::string& note) {
  std::vector<ClientID> orphans;
  auto collect = [&] {
    for (auto it = mPool->named_begin(); it != mPool->named_end(); ++it) {
      const std::string name(it->name(), it->name_length());
      const ClientID id(name);
      const bool isRow = session.getClientIndex(id) < LIPC::cMaxClients;
      if (name != LIPC::cConnectionListName && !isRow) orphans.push_back(id);
    }
  };
  note = mended([&] {
    mPool->atomic_func(collect);
    return std::string();
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
