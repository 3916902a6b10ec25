#pragma once

#include "lipc/session/ClientID.h"

namespace LIPC {

/// Removes what a dead owner of `id` left in the system: its client buffer, its two rings and its
/// two named semaphores. Returns the number of segments removed. What another user owns stays.
/// The caller makes sure that the owner is dead, or holds the registration lock and has judged its
/// keep-alive stamp stale. An owner that turns out to live notices at its next pass that its
/// segments lost their name, and joins again. Threads: any.
unsigned removeRemains(const ClientID& id);

}  // namespace LIPC
