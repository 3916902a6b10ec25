// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>

/// What a system tells a process of itself. One source file each; the build picks it.
///
/// Lists are by a key that stays while the thing does, with words for people. Nothing where the
/// system cannot tell. Threads: any.
namespace LIPC::platform {

using Listing = std::optional<std::map<long long, std::string>>;

/// The file that this process runs; empty when it is not to be had.
std::string executablePath();
/// The threads of this process: their names.
Listing listOwnThreads();
/// Its open files: where they lead. That of the listing itself is left out.
Listing listOwnFiles();
/// System V segments that it has attached or made. macOS cannot list them.
Listing listOwnSegments();
/// Bytes of memory that it holds at present.
std::optional<std::size_t> residentBytes();

}  // namespace LIPC::platform
