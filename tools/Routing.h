// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "inspect/Picture.h"
#include "lipc/session/Connection.h"

/// Connections and their wires, as they are typed, shown and found.
namespace tools {

/// Wires out of "0:0,1:1" or "0-7:8-15": a channel of the source, a channel of the target, each a
/// number or a range of as many as the other. Throws Failure: eExitUsage for what is none of that,
/// for one twice, and for more than 32; eExitNoValue for a channel that one of the two does not
/// have.
std::vector<LIPC::Connection::Wire> wiresOrFail(std::string_view text,
                                                const inspect::ClientPicture& source,
                                                const inspect::ClientPicture& target);
/// Channel by channel, as many as the source sends and the target receives, up to 32.
std::vector<LIPC::Connection::Wire> straightWires(const inspect::ClientPicture& source,
                                                  const inspect::ClientPicture& target);
void setWires(LIPC::Connection& connection, const std::vector<LIPC::Connection::Wire>& wires);
/// Whether it has a channel at both ends.
bool isWireUsed(const LIPC::Connection::Wire& wire);
bool hasWires(const LIPC::Connection& connection);

/// The connection as the session lists it. Throws Failure where the list cannot be read: the whole
/// session's `session`, or looked up anew in `source`, which just says no.
std::optional<LIPC::Connection> connectionOrFail(const inspect::SessionPicture& session,
                                                 const std::string& source,
                                                 const std::string& target);
std::optional<LIPC::Connection> listedConnection(inspect::Source& source,
                                                 const LIPC::ClientID& from,
                                                 const LIPC::ClientID& to);

/// "a -> b"
std::string endsText(const LIPC::Connection& connection);
/// "not connected", "connected, 2 wires (0:0 1:1)", "cut, ..."
std::string routingText(const std::optional<LIPC::Connection>& connection);
/// null, or state and wires.
nlohmann::ordered_json routingJson(const std::optional<LIPC::Connection>& connection);

}  // namespace tools
