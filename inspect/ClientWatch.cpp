// SPDX-License-Identifier: BSL-1.0
#include "inspect/ClientWatch.h"

namespace inspect {

bool ClientWatch::isLost(const LIPC::ClientID& id, const std::optional<std::string>& stamp,
                         SteadyTime now) {
  const auto [entry, isNew] = mSeen.try_emplace(id, Seen{stamp, WatchedTime(now)});
  Seen& seen = entry->second;
  if (isNew || seen.stamp != stamp) {
    seen = {stamp, WatchedTime(now)};
    return false;
  }
  return seen.unchanged.look(now) >= (stamp ? cStaleAfter : cWithoutBufferAfter);
}

void ClientWatch::keepOnly(const std::set<LIPC::ClientID>& present) {
  std::erase_if(mSeen, [&](const auto& seen) { return present.count(seen.first) == 0; });
}

}  // namespace inspect
