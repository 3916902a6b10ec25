// SPDX-License-Identifier: BSL-1.0
#include "inspect/PoolReader.h"

#include <cstring>
#include <thread>

#include "inspect/ChildRead.h"
#include "lipc/session/ConnectionPool.h"

namespace inspect {
namespace {

constexpr std::chrono::milliseconds cPoolLookInterval{10};

std::string listIn(const std::string& bytes) {
  const std::vector<LIPC::Connection> list = LIPC::ConnectionPool::readSessionList(bytes);
  return {reinterpret_cast<const char*>(list.data()), list.size() * sizeof(LIPC::Connection)};
}

std::vector<LIPC::Connection> connectionsIn(const std::string& bytes) {
  std::vector<LIPC::Connection> connections(bytes.size() / sizeof(LIPC::Connection));
  if (!connections.empty())
    std::memcpy(static_cast<void*>(connections.data()), bytes.data(),
                connections.size() * sizeof(LIPC::Connection));
  return connections;
}

}  // namespace

PoolPicture readPool(Source& source, int looks) {
  PoolPicture picture;
  for (int look = 0; look < looks; ++look) {
    if (look != 0) std::this_thread::sleep_for(cPoolLookInterval);
    const PoolBytes pool = source.pool();
    if (pool.state == PoolBytes::eMissing || pool.state == PoolBytes::eUnreadable) {
      picture.error = pool.state == PoolBytes::eMissing ? "there is no pool" : pool.error;
      return picture;
    }
    std::string why = pool.error;
    std::optional<std::string> list;
    if (pool.state == PoolBytes::eRead)
      list = readInChild([&] { return listIn(pool.bytes); }, Source::cDeadline, why);
    if (list) {
      picture = {.connections = connectionsIn(*list), .error = {}, .isDamaged = false};
      return picture;
    }
    picture.error = why;
    picture.isDamaged = true;
    if (!source.isLive()) return picture;
  }
  return picture;
}

}  // namespace inspect
