// SPDX-License-Identifier: BSL-1.0
#pragma once

/// @file
/// Marks for the audio path.

/// @def LIPC_NONBLOCKING
/// Behind a function's parameter list (and its noexcept), says that the function neither allocates,
/// locks nor waits. clang from 20 on checks that at compile time (-Wfunction-effects) and, built
/// with -fsanitize=realtime, at run time; other compilers see nothing.
/// @ingroup support
#if defined(__has_cpp_attribute)
#if __has_cpp_attribute(clang::nonblocking)
#define LIPC_NONBLOCKING [[clang::nonblocking]]
#endif
#endif
#ifndef LIPC_NONBLOCKING
#define LIPC_NONBLOCKING
#endif

/// @def LIPC_UNCHECKED_BEGIN
/// With LIPC_UNCHECKED_END encloses code on the audio path that the compile-time check cannot
/// follow: an operation of the system without the mark, a try block. A comment beside it says why
/// it is allowed. The check at run time still looks at it.
/// @ingroup support

/// @def LIPC_UNCHECKED_END
/// See LIPC_UNCHECKED_BEGIN.
/// @ingroup support
#ifdef __clang__
#define LIPC_UNCHECKED_BEGIN                                           \
  _Pragma("clang diagnostic push")                                     \
      _Pragma("clang diagnostic ignored \"-Wunknown-warning-option\"") \
          _Pragma("clang diagnostic ignored \"-Wfunction-effects\"")
#define LIPC_UNCHECKED_END _Pragma("clang diagnostic pop")
#else
#define LIPC_UNCHECKED_BEGIN
#define LIPC_UNCHECKED_END
#endif

#ifdef __has_feature
#if __has_feature(realtime_sanitizer)
#include <sanitizer/rtsan_interface.h>
#define LIPC_CHECKED_AT_RUN_TIME
#endif
#endif

namespace LIPC {

/// Switches the check at run time off for its lifetime: for the one or two system calls that the
/// audio path makes deliberately. Nothing in a build without that check.
/// @ingroup support
class DeliberateSystemCall {
 public:
  LIPC_UNCHECKED_BEGIN  // the sanitizer's own two switches lack the mark
  DeliberateSystemCall() noexcept LIPC_NONBLOCKING {
#ifdef LIPC_CHECKED_AT_RUN_TIME
    __rtsan_disable();
#endif
  }
  ~DeliberateSystemCall() LIPC_NONBLOCKING {
#ifdef LIPC_CHECKED_AT_RUN_TIME
    __rtsan_enable();
#endif
  }
  LIPC_UNCHECKED_END
  DeliberateSystemCall(const DeliberateSystemCall&) = delete;
  DeliberateSystemCall& operator=(const DeliberateSystemCall&) = delete;
};

}  // namespace LIPC
