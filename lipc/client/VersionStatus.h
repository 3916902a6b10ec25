// SPDX-License-Identifier: BSL-1.0
#pragma once

namespace LIPC {

/// What a client found when it looked at the session's version record before a join.
///
/// @ingroup take_part
enum eVersionStatus : int {
  eVersionNoHost = 0,   ///< there is no version record: no host, or none that has made its session
  eVersionMatches = 1,  ///< the client's own version and pointer width
  eVersionHostNewer = 2,  ///< a newer version of the protocol
  eVersionHostOlder = 3,  ///< an older one
  eVersionHost32Bit = 4,  ///< another pointer width
};

}  // namespace LIPC
