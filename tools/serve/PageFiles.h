// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <span>
#include <string_view>

namespace tools {

/// A file of tools/page, as it is in the tree.
struct PageFile {
  std::string_view name;
  std::string_view bytes;
};

extern const std::span<const PageFile> cPageFiles;

}  // namespace tools
