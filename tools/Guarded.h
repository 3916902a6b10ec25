// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <functional>

namespace tools {

/// What the main of each program does around all the rest: runs `body` and returns its exit status,
/// or that of what it throws, which it says in a sentence.
int guarded(const std::function<int()>& body);

}  // namespace tools
