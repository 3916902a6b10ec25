// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

#include "inspect/Leftovers.h"

namespace host {

/// What became of things that dead clients left on this machine.
struct Removal {
  std::vector<std::string> removed;  // a phrase for each
  std::vector<std::string> kept;     // what could not be removed, why, and what to do: sentences
};

/// Removes the segments and semaphores that dead clients left, as inspect/Leftovers.h finds them,
/// at two looks; key files stay. Only while nobody can join: a client that is between making its
/// segment and attaching it would lose it.
Removal removeLeftovers();

/// The same for these alone, and key files too, where a second look still finds them. Semaphores of
/// whose ID a segment stays, stay too.
Removal remove(const std::vector<inspect::Leftover>& leftovers);

}  // namespace host
