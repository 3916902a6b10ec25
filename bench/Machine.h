// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>

namespace bench {

/// The machine and the build in a few lines of text: processor, cores, governor, kernel, compiler.
std::string describeMachine();

}  // namespace bench
