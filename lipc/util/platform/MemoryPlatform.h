// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>

/// How a system maps all pages of a mapping at once, instead of one at each first access. One
/// source file each; the build picks it.
///
/// What lies in the pages is not changed, whatever other processes do to it meanwhile. False where
/// the system cannot; some pages may be mapped then. Threads: any.
namespace LIPC::platform {

/// Makes the pages where they are missing. Of a mapping that may be written.
bool populateToWrite(void* address, std::size_t bytes);
/// Writes nothing; the same pages as reading all of it would map.
bool populateToRead(const void* address, std::size_t bytes);

}  // namespace LIPC::platform
