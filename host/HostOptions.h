// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "lipc/session/SessionNames.h"

namespace host {

/// Ways in which the host misbehaves on request, so that participants can be tested against them.
/// @ingroup host
struct Faults {
  bool silent = false;                ///< never answers a join or a leave
  bool stallHeartbeat = false;        ///< the heartbeat stands still
  bool heartbeatBack = false;         ///< the heartbeat goes back every two seconds
  bool holdLock = false;              ///< holds the registration lock for ever
  bool noConnect = false;             ///< forbids joins ("LIPC_SESSION_NOCONNECT")
  bool fillTable = false;             ///< fills every free row of the table
  bool noAudio = false;               ///< reads no client's blocks and answers none
  std::optional<std::uint64_t> seed;  ///< faults by chance beside these, all but fillTable
};

/// What a session is made with.
/// @ingroup host
struct HostOptions {
  /// As published; with another than cProtocolVersion no client of this library joins.
  std::uint32_t protocolVersion = LIPC::cProtocolVersion;
  /// As published; with another than 64 no client of this library joins.
  std::uint32_t pointerWidthBits = LIPC::cPointerWidthBits;
  std::string referenceClient;  ///< ID for the table's reference field; empty: unset
  Faults faults;                ///< none at first
};

}  // namespace host
