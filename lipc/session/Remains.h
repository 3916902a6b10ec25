// SPDX-License-Identifier: BSL-1.0
#pragma once

#include "lipc/session/SessionBuffer.h"

namespace LIPC {

/// Removes what a dead owner of `id` left in the system: its client buffer, its two rings and its
/// two named semaphores. Returns the number of segments removed.
///
/// What stays: a segment that somebody has attached, since its owner may only be stopped, in a
/// debugger for example (the next joiner of that very ID takes it away), and then the semaphores
/// too; what has its key, or its semaphore name, in common with a name of `session`; what another
/// user owns. The caller holds the registration lock, or makes sure that nobody joins. Threads:
/// any.
unsigned removeRemains(const ClientID& id, const SessionBuffer& session);

}  // namespace LIPC
