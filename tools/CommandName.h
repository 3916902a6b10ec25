// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>

namespace tools {

/// The command as this process was called, to be pasted into a shell: "build/run/tools/lipc".
/// "lipc" until `setCommandName`. Threads: set before there is a second one.
const std::string& commandName();
void setCommandName(const std::string& called);

/// The text with its commands as they can be pasted. A command of ours stands in a sentence as
/// ": lipc ls", or alone, maybe behind a sudo.
std::string asCalled(const std::string& text);

}  // namespace tools
