// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <array>
#include <string>

#include "lipc/session/SessionBuffer.h"

namespace LIPC {

/// The names of a client's three segments: buffer, "-send", "-return".
std::array<std::string, 3> segmentNamesOf(const ClientID& id);
/// The ID of the client that has a segment of this name.
std::string clientIDOf(const std::string& segmentName);

/// True for the sizes that a client's segment of this name has.
bool hasSizeOfName(const std::string& name, std::size_t bytes);

/// Another name of the session whose key is `name`'s too: of a session-wide segment, or of a client
/// in `session` other than `id`, whose name `name` is. Empty when there is none. Leaves no trace;
/// looks at the key files of every row, so not for each pass. Threads: any.
std::string nameOnSameKey(const std::string& name, const ClientID& id,
                          const SessionBuffer& session);

/// Makes sure that the three segments of a client that joins under `id` will be its own. For a
/// joiner that holds the registration lock and whose ID no row carries.
///
/// - What is attached under its names and was this ID's (of a client that is stopped and was taken
///   for dead) is removed: its owner notices that it lost its name.
/// - Where a name leads to what is another's, the session's or another program's, since both names
///   have one key, the name's key file is made anew, and with it the key. That is logged.
///
/// Returns an empty text, or a sentence that says which names collide and why nothing helped. What
/// nobody has attached is left for ShmManaged to use again.
std::string claimSegmentNames(const ClientID& id, const SessionBuffer& session);

}  // namespace LIPC
