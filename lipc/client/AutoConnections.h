// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <list>

#include "lipc/session/AutoConnection.h"
#include "lipc/session/SessionBuffer.h"

namespace LIPC {

/// Resolves auto-connection rules against the rows of a session and appends what they produce to
/// `connections`.
///
/// A rule's first number is the four-character type of the clients that it looks for. Its second
/// number, not 0, lets the host's reference client decide: where that is set and its row has the
/// type, it is the one target; otherwise every row of the type is one. Once the reference chose a
/// target for a type, later rules of that type in the same join use it. `children` apply to the
/// targets that their parent found. `self` is never its own target, and a connection that
/// `connections` holds already (same ends, disconnected ones included) is not added again.
void resolveAutoConnections(const SessionBuffer& session, const std::list<AutoConnection>& rules,
                            const ClientID& self, std::list<Connection>& connections);

}  // namespace LIPC
