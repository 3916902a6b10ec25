// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>

#include "lipc/util/Export.h"

namespace LIPC {

/// A random version-4 UUID as 36 lower-case characters, groups of 8-4-4-4-12.
/// Threads: any; each call seeds a generator of its own. Not for the audio thread (it allocates).
/// @ingroup support
LIPC_API std::string generateUUID();

}  // namespace LIPC
