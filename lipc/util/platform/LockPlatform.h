// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>

#include <pthread.h>

/// What the systems' own locks and shared memory look like where a process may find them spoilt.
namespace LIPC {

/// True when both are locks of one kind: what the system decides by, and what no operation on a
/// lock changes. A lock in shared memory over which somebody wrote is of none, and to take it may
/// end the process.
bool isSameKindOfLock(const pthread_mutex_t& a, const pthread_mutex_t& b);

/// Allocates the pages of a shared memory object's first `bytes`. Returns 0 or an errno; ENOSPC
/// where there is no room. On macOS, whose shared memory has no limit of its own, does nothing.
int allocatePages(int file, std::size_t bytes);

}  // namespace LIPC
