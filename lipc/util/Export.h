// SPDX-License-Identifier: BSL-1.0
#pragma once

/// @file
/// What the shared library shows. In a static library nothing has to be shown, so that a plug-in
/// that has one inside shows none of it to its neighbours: its target defines LIPC_STATIC. Without
/// any macro a header is right for both.

/// @def LIPC_API
/// Marks what the shared library shows; nothing where LIPC_STATIC is defined.
/// @ingroup support
#if defined(LIPC_STATIC)
#define LIPC_API
#else
#define LIPC_API __attribute__((visibility("default")))
#endif
