// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>

#include "lipc/session/ShmManaged.h"

namespace LIPC {

/// The session-wide block "LIPC_SESSION_PANNER_DAW_VALS". Its layout is the host's; this library
/// passes its address on and reads nothing. Client::updateDAWvaluesFromShMem passes it.
///
/// @ingroup session_table
struct SHM_Panner_DAW_Values;

/// The smallest segment that is taken for one.
template <>
inline constexpr std::size_t cShmMinimumBytes<SHM_Panner_DAW_Values> = 1;

}  // namespace LIPC
