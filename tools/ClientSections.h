// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <string>

#include <fmt/core.h>

#include "inspect/Picture.h"
#include "tools/Terminal.h"

/// The sections of a client's text. Each begins with an empty line.
namespace tools {

inline constexpr std::size_t cSectionIndent = 2;

/// A section with nothing in it is a line.
inline std::string section(const char* title, const std::string& line) {
  return fmt::format("\n{:<11} {}\n", title, line);
}

std::string ringsText(const inspect::ClientPicture& client, const Style& style);
std::string segmentsText(const inspect::ClientPicture& client, const Style& style);
std::string semaphoresText(const inspect::ClientPicture& client);

}  // namespace tools
