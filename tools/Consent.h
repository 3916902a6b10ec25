// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>

namespace tools {

/// Asks `question` on standard error, with " [y/N] " behind it, and reads a line of standard input:
/// returns when it begins with y. `yes`: it was answered on the command line, and nothing is asked.
/// Throws Failure(eExitRefused) for any other answer, and where standard input is no terminal.
void askOrFail(const std::string& question, bool yes);

}  // namespace tools
