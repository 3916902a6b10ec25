// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <system_error>

namespace LIPC {

/// The system's own words for an error number (errno). Threads: any; `strerror` need not be.
inline std::string systemErrorText(int error) {
  return std::generic_category().message(error);
}

}  // namespace LIPC
