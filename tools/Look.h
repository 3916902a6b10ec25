// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>

namespace tools {

/// Between two looks at what another process does, while a command waits for it.
inline constexpr std::chrono::milliseconds cLook(20);

}  // namespace tools
