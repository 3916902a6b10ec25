// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "lipc/session/ClientID.h"
#include "lipc/util/Export.h"

namespace LIPC {

/// A routing record: audio goes from a source client to a target client over up to 32 wires. It
/// stands as it is in the session's shared list.
///
/// A wire pairs a channel of the source with one of the target; -1 marks an unused field. The
/// record does not say which of its two fields is whose. This library and its host have chosen: the
/// field of direction 0 is the source's, that of direction 1 the target's. Channel numbers read
/// from the shared list are another process's: whoever uses one as an index checks it first.
///
/// @ingroup connections
struct LIPC_API Connection {
  /// All that fit; unused ones may lie between used ones.
  static constexpr int cWireCount = 32;
  /// Marks a wire's field, and so the wire, as unused.
  static constexpr std::int32_t cNoChannel = -1;

  /// Selects one of a wire's two fields.
  enum Direction : int {
    eSourceSide = 0,  ///< a channel of the source's "-send" ring
    eTargetSide = 1,  ///< a channel of the target's "-return" ring
  };

  /// From one channel to one channel. Several wires into one channel add up there.
  struct Wire {
    std::int32_t channel[2];  ///< by Direction; from 0 on, or -1
  };

  /// All IDs empty, no wires, no flags. What an AutoConnection yields when it cannot apply.
  static const Connection mscNull;

  /// As mscNull.
  Connection() { clear(); }
  /// Without wires and flags. `by` is the owner and may be unset.
  Connection(const ClientID& from, const ClientID& to, const ClientID& by);

  /// As mscNull.
  void clear();
  /// Both fields of every wire become -1.
  void clearWires();
  /// Source and target are both set; the owner does not matter.
  bool isDefined() const { return source.isDefined() && target.isDefined(); }
  /// Replaces the first of source, target, owner that equals `oldID` by `newID`: one at most.
  /// Nothing happens when `oldID` is unset.
  void replace(const ClientID& oldID, const ClientID& newID);
  /// Wires entry i of `channels` to channel i for every entry that is not -1, without gaps, and
  /// marks the rest unused (their second fields keep what they held). Entries beyond the 32nd
  /// mapped one are left out.
  void setWiresFromChannels(const int* channels, unsigned count);
  /// The partner of `channel` on side `d` in the first wire that has it, else -1.
  int getWiredChannel(int channel, Direction d) const;
  /// Index of the new wire, or -1 when all 32 are used.
  int addWire(int channel0, int channel1);
  /// First wire with a field of -1, else -1.
  int findUnusedIndex() const;
  /// Clears every wire whose field `d` equals `channel`.
  void clearChannel(int channel, Direction d);
  /// Clears every wire whose field `d` is `channel` or more.
  void clearChannels(int channel, Direction d);

  // Written by the client that publishes it; the host carries it over into the session's list.
  //                                      offset  size
  ClientID source;                   ///<      0    65  who sends
  ClientID target;                   ///<     65    65  who hears it
  ClientID owner;                    ///<    130    65  who made it; may be empty
  std::uint8_t isAuto;               ///<    195     1  1: made by an AutoConnection rule
  Wire wires[cWireCount];            ///<    196   256  wire k at 196 + 8 * k
  std::int32_t disconnectRequested;  ///<    452     4  not 0: a client asked to remove it
  std::uint8_t reserved;             ///<    456     1  0
  char padding[3];                   ///<    457     3
};

static_assert(sizeof(Connection) == 460);
static_assert(alignof(Connection) == 4);
static_assert(offsetof(Connection, source) == 0);
static_assert(offsetof(Connection, target) == 65);
static_assert(offsetof(Connection, owner) == 130);
static_assert(offsetof(Connection, isAuto) == 195);
static_assert(offsetof(Connection, wires) == 196);
static_assert(offsetof(Connection, disconnectRequested) == 452);
static_assert(offsetof(Connection, reserved) == 456);
static_assert(std::is_standard_layout_v<Connection>);

/// True when both name the same source and the same target (64 characters each).
/// @ingroup connections
inline bool haveSameEnds(const Connection& a, const Connection& b) {
  return a.source == b.source && a.target == b.target;
}

/// True when both have the same wires, place by place, and the same disconnectRequested.
/// @ingroup connections
LIPC_API bool haveSameRouting(const Connection& a, const Connection& b);

}  // namespace LIPC
