#pragma once

#include <string>

namespace LIPC {

/// A random version-4 UUID as 36 lower-case characters, groups of 8-4-4-4-12.
/// Threads: any; each call seeds a generator of its own. Not for the audio thread (it allocates).
std::string generateUUID();

}  // namespace LIPC
