#pragma once

#include "lipc/session/ClientID.h"

/// A client's buffer as a host looks at it from outside, without making a key file, a segment or a
/// semaphore. Threads: any.
namespace host {

/// True when the client's buffer exists and no process has it attached: its owner held it for as
/// long as it lived. Only where this host has nothing of the client attached itself.
bool isDeserted(const LIPC::ClientID& id);

/// Posts the must-disconnect semaphore of a client that somebody has attached: it leaves, and comes
/// back where it may. It also wakes a client whose timed wait a clock that was set back has made
/// long.
void askToLeave(const LIPC::ClientID& id);

}  // namespace host
