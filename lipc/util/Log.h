// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>

#include "lipc/util/Export.h"

/// Logging for control paths: the library's own, and anybody's who wants their lines beside it.
namespace Lct {

/// @addtogroup log
/// `Log` writes one line: local time with microseconds, a level tag, the reporting function and the
/// message. Level 0 goes to standard output only; every other level goes to standard error, then to
/// standard output, then to the system log. The streams are not flushed. The process's own
/// `openlog` settings apply: nothing here calls it.
///
/// Threads: any. Each call builds its whole line on the caller's stack and writes it at once. Not
/// for the audio thread.
/// Errors: none are reported. A message that does not fit its buffer is cut; the line feed stays.
/// @{

/// Chooses the tag and where a line goes.
enum eLogLevel : unsigned {
  eLogInfo = 0,   ///< "<INFO> ", to standard output only
  eLogWarn = 1,   ///< "<WARN> ", to standard error and output and the system log
  eLogError = 2,  ///< "<ERRO> ", where a warning goes; in the system log a warning too
};

/// Bytes of the message buffer and of the line buffer, terminating NUL included.
inline constexpr std::size_t cLogBufferBytes = 512;

/// `source` names the reporting function; null leaves the field out. A level without a tag (3 and
/// above) is routed like a warning.
LIPC_API void Log(eLogLevel level, const char* source, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// A console trace without time stamp or level: "(source) message" on standard error, flushed.
/// `source` must not be null here.
LIPC_API void debugLog(const char* source, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

/// @}

}  // namespace Lct
