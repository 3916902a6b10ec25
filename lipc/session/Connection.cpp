// SPDX-License-Identifier: BSL-1.0
#include "lipc/session/Connection.h"

#include <cstring>

namespace LIPC {

const Connection Connection::mscNull;

Connection::Connection(const ClientID& from, const ClientID& to, const ClientID& by)
    : Connection() {
  source = from;
  target = to;
  owner = by;
}

void Connection::clear() {
  source.setTo("");
  target.setTo("");
  owner.setTo("");
  isAuto = 0;
  disconnectRequested = 0;
  reserved = 0;
  std::memset(padding, 0, sizeof padding);
  clearWires();
}

void Connection::clearWires() {
  for (Wire& wire : wires)
    wire = {{cNoChannel, cNoChannel}};
}

void Connection::replace(const ClientID& oldID, const ClientID& newID) {
  if (!oldID.isDefined()) return;
  for (ClientID* id : {&source, &target, &owner}) {
    if (*id == oldID) {
      *id = newID;
      return;
    }
  }
}

void Connection::setWiresFromChannels(const int* channels, unsigned count) {
  int wired = 0;
  for (unsigned i = 0; i < count && wired < cWireCount; ++i) {
    if (channels[i] == cNoChannel) continue;
    wires[wired++] = {{channels[i], static_cast<std::int32_t>(i)}};
  }
  for (int k = wired; k < cWireCount; ++k)
    wires[k].channel[eSourceSide] = cNoChannel;
}

int Connection::getWiredChannel(int channel, Direction d) const {
  for (const Wire& wire : wires) {
    if (wire.channel[d] == channel)
      return wire.channel[d == eSourceSide ? eTargetSide : eSourceSide];
  }
  return cNoChannel;
}

int Connection::addWire(int channel0, int channel1) {
  const int index = findUnusedIndex();
  if (index >= 0) wires[index] = {{channel0, channel1}};
  return index;
}

int Connection::findUnusedIndex() const {
  for (int k = 0; k < cWireCount; ++k) {
    if (wires[k].channel[eSourceSide] == cNoChannel ||
        wires[k].channel[eTargetSide] == cNoChannel) {
      return k;
    }
  }
  return -1;
}

void Connection::clearChannel(int channel, Direction d) {
  for (Wire& wire : wires) {
    if (wire.channel[d] == channel) wire = {{cNoChannel, cNoChannel}};
  }
}

void Connection::clearChannels(int channel, Direction d) {
  for (Wire& wire : wires) {
    if (wire.channel[d] >= channel) wire = {{cNoChannel, cNoChannel}};
  }
}

bool haveSameRouting(const Connection& a, const Connection& b) {
  return a.disconnectRequested == b.disconnectRequested &&
         std::memcmp(a.wires, b.wires, sizeof a.wires) == 0;
}

}  // namespace LIPC
