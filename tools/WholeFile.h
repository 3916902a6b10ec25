// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <string_view>

namespace tools {

/// Writes a file whole or not at all: what was there stays until the new text is written, and a
/// failure leaves nothing behind. What is no ordinary file, a pipe for example, is written as it
/// is. Throws std::runtime_error with a whole sentence.
void writeWhole(const std::string& path, std::string_view text);

}  // namespace tools
