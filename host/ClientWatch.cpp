#include "host/ClientWatch.h"

#include <exception>

#include "lipc/session/ClientBuffer.h"

namespace host {
namespace {

bool isStale(const std::string& stamp, const boost::posix_time::ptime& utc) {
  try {
    return LIPC::ClientBuffer::judgeStamp(stamp, utc) == LIPC::eAliveStale;
  } catch (const std::exception&) {
    return true;
  }
}

}  // namespace

bool ClientWatch::isLost(const LIPC::ClientID& id, const std::optional<std::string>& stamp,
                         const boost::posix_time::ptime& utc, SteadyTime now) {
  const auto [entry, isNew] = mSeen.try_emplace(id, Seen{stamp, WatchedTime(now)});
  Seen& seen = entry->second;
  if (isNew || seen.stamp != stamp) {
    seen = {stamp, WatchedTime(now)};
    return false;
  }
  const auto unchanged = seen.unchanged.look(now);
  if (!stamp) return unchanged >= cWithoutBufferAfter;
  return unchanged >= cStaleAfter && isStale(*stamp, utc);
}

void ClientWatch::keepOnly(const std::set<LIPC::ClientID>& present) {
  std::erase_if(mSeen, [&](const auto& seen) { return present.count(seen.first) == 0; });
}

}  // namespace host
