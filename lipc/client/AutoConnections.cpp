// SPDX-License-Identifier: BSL-1.0
#include "lipc/client/AutoConnections.h"

#include <algorithm>
#include <map>
#include <vector>

namespace LIPC {
namespace {

class Resolver {
 public:
  Resolver(const SessionBuffer& session, const ClientID& self, std::list<Connection>& connections)
      : mSession(session), mSelf(self), mConnections(connections) {}

  void resolve(const AutoConnection& rule) {
    for (const ClientID& target : targetsOf(rule))
      apply(rule, target);
  }

 private:
  std::vector<ClientID> targetsOf(const AutoConnection& rule) {
    const auto type = static_cast<std::uint32_t>(rule.firstChannel);
    if (const auto chosen = mChosen.find(type); chosen != mChosen.end()) return {chosen->second};
    if (rule.secondChannel != 0) {
      const ClientID reference = mSession.referenceClientID;
      if (isTarget(mSession.getClientEntry(mSession.getClientIndex(reference)), type)) {
        mChosen.emplace(type, reference);
        return {reference};
      }
    }
    std::vector<ClientID> targets;
    for (const ClientEntry& entry : mSession.entries) {
      if (isTarget(&entry, type)) targets.push_back(entry.id);
    }
    return targets;
  }

  bool isTarget(const ClientEntry* entry, std::uint32_t type) const {
    return entry != nullptr && !entry->isFree() && entry->type == type && !(entry->id == mSelf);
  }

  void apply(const AutoConnection& rule, const ClientID& target) {
    const Connection connection = rule.apply(mSelf, target, mSelf);
    const auto isSame = [&](const Connection& held) { return haveSameEnds(held, connection); };
    if (connection.isDefined() && std::none_of(mConnections.begin(), mConnections.end(), isSame)) {
      mConnections.push_back(connection);
    }
    for (const AutoConnection& child : rule.children)
      apply(child, target);
  }

  const SessionBuffer& mSession;
  const ClientID mSelf;
  std::list<Connection>& mConnections;
  std::map<std::uint32_t, ClientID> mChosen;  // by type, chosen by the reference
};

}  // namespace

void resolveAutoConnections(const SessionBuffer& session, const std::list<AutoConnection>& rules,
                            const ClientID& self, std::list<Connection>& connections) {
  Resolver resolver(session, self, connections);
  for (const AutoConnection& rule : rules)
    resolver.resolve(rule);
}

}  // namespace LIPC
