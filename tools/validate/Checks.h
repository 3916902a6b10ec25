// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <span>
#include <string>
#include <string_view>

#include "tools/validate/Reporter.h"

/// What `lipc validate` looks at. Each check runs in a process of its own, since a library may end
/// it, hold it up or spoil it.
namespace tools::validate {

struct Context {
  Reporter& reporter;
  std::string library;                 // path
  int times;                           // cycles of loading and unloading
  std::chrono::milliseconds callTime;  // that one call of the library may take
};

struct Check {
  const char* name;
  const char* title;
  /// Returns when the check is passed; Reporter's `fail` and `skip` end it otherwise.
  void (*run)(Context&);
};

/// In the order in which they run.
std::span<const Check> allChecks();
/// Null when there is none.
const Check* findCheck(std::string_view name);

void checkLoad(Context& context);
void checkFunctions(Context& context);
void checkVersion(Context& context);
void checkType(Context& context);
void checkProcessor(Context& context);
void checkCycles(Context& context);
void checkJoin(Context& context);
void checkLeave(Context& context);
void checkSilent(Context& context);
void checkStalled(Context& context);
void checkGoneBack(Context& context);
void checkRestarted(Context& context);
void checkLockHeld(Context& context);
void checkTableFull(Context& context);
void checkOtherVersion(Context& context);
void checkNoConnect(Context& context);

}  // namespace tools::validate
