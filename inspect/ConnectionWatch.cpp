// SPDX-License-Identifier: BSL-1.0
#include "inspect/ConnectionWatch.h"

namespace inspect {

using LIPC::Connection;

Event::Wires wiresOf(const Connection& connection) {
  Event::Wires wires;
  for (const Connection::Wire& wire : connection.wires) {
    const auto [source, target] = wire.channel;
    if (source != Connection::cNoChannel && target != Connection::cNoChannel)
      wires.emplace_back(source, target);
  }
  return wires;
}

void ConnectionWatch::look(const std::vector<Connection>& list, const EventSink& sink) {
  std::map<Ends, Seen> now;
  for (const Connection& connection : list) {
    if (!connection.isDefined() || connection.disconnectRequested != 0) continue;
    now.try_emplace({connection.source, connection.target},
                    Seen{wiresOf(connection), connection.isAuto != 0});
  }
  const auto report = [&](Event::eKind kind, const auto& entry, const Event::Wires& before) {
    Event event;
    event.kind = kind;
    event.id = entry.first.first.text();
    event.target = entry.first.second.text();
    event.wires = entry.second.wires;
    event.isAuto = entry.second.isAuto;
    event.wiresBefore = before;
    sink(event);
  };
  for (const auto& entry : mSeen)
    if (now.count(entry.first) == 0) report(Event::eKind::eDisconnected, entry, {});
  const Event::eKind isNew =
      mHasLooked ? Event::eKind::eConnected : Event::eKind::eConnectionPresent;
  for (const auto& entry : now) {
    const auto before = mSeen.find(entry.first);
    if (before == mSeen.end()) {
      report(isNew, entry, {});
    } else if (before->second.wires != entry.second.wires) {
      report(Event::eKind::eWiresChanged, entry, before->second.wires);
    }
  }
  mSeen = std::move(now);
  mHasLooked = true;
}

}  // namespace inspect
