// SPDX-License-Identifier: BSL-1.0
#pragma once

#include "lipc/session/ClientID.h"

/// What a host does to a client from outside, without making a key file, a segment or a semaphore.
/// Threads: any.
namespace host {

/// Posts the must-disconnect semaphore of a client that somebody has attached: it leaves, and comes
/// back where it may. It also wakes a client whose timed wait a clock that was set back has made
/// long. False when nothing was posted.
bool askToLeave(const LIPC::ClientID& id);

}  // namespace host
