// SPDX-License-Identifier: BSL-1.0

// What a library shows of itself without a session.
#include "tools/validate/Checks.h"

#include <algorithm>

#include <fmt/core.h>

#include "lipc/session/SessionNames.h"
#include "tools/Text.h"
#include "tools/validate/Holdings.h"
#include "tools/validate/TestedLibrary.h"

namespace tools::validate {
namespace {

constexpr Check cChecks[] = {
    {"load", "the file can be loaded", checkLoad},
    {"functions", "the five exported functions are there", checkFunctions},
    {"version", "it is of this protocol's version", checkVersion},
    {"type", "its type is four characters and stays so", checkType},
    {"processor", "every slot of its processor can be called", checkProcessor},
    {"cycles", "loaded and unloaded, it leaves nothing", checkCycles},
    {"join", "its client joins, and its row is right", checkJoin},
    {"leave", "its client comes back, and leaves nothing", checkLeave},
    {"silent", "survives a host that never answers", checkSilent},
    {"stalled", "survives a heartbeat that stands still", checkStalled},
    {"gone-back", "survives a heartbeat that goes back", checkGoneBack},
    {"restarted", "survives a host that is killed", checkRestarted},
    {"lock-held", "does not join while the lock is held", checkLockHeld},
    {"table-full", "does not join a full table", checkTableFull},
    {"other-version", "does not join another version or width", checkOtherVersion},
    {"no-connect", "does not join while joins are forbidden", checkNoConnect},
};

constexpr int cCodeCharacters = 4;

/// Cycles before the memory is looked at for the first time, and more that it takes to judge it.
constexpr int cCyclesToSettle = 10;
constexpr int cCyclesToJudge = 20;
constexpr std::size_t cGrowthBytes = 1 << 20;

bool isPrintableCode(std::uint32_t type) {
  for (int i = 0; i < cCodeCharacters; ++i, type >>= 8) {
    if ((type & 0xFF) < 0x20 || (type & 0xFF) > 0x7E) return false;
  }
  return true;
}

void judgeMemory(Context& context, std::size_t before, std::size_t after) {
  const int cycles = context.times - cCyclesToSettle;
  if (after <= before + cGrowthBytes) return;
  context.reporter.fail(
      fmt::format("the memory grew by {} KiB over {} cycles, some {} KiB each.",
                  (after - before) >> 10, cycles, (after - before) / (std::size_t{1024} * cycles)),
      "Free in unloadLibrary, and in the processor's destructor, what was allocated.");
}

/// Threads are looked for while their code is still there: one that is left crashes without it.
void oneCycle(Context& context, int cycle, const Holdings& before) {
  TestedLibrary library(context, fmt::format("cycle {} of {}: ", cycle, context.times));
  library.load();
  auto processor = library.createProcessor("validate");
  library.call("the processor's destructor", [&] { processor.reset(); });
  library.unload();
  if (const std::string left = threadsBeyond(context, before); !left.empty()) {
    context.reporter.fail(
        fmt::format("after unloadLibrary in cycle {} there is still {}.", cycle, left),
        "Join in unloadLibrary every thread that the library began: its code goes next.");
  }
  library.close();
}

}  // namespace

std::span<const Check> allChecks() {
  return cChecks;
}

const Check* findCheck(std::string_view name) {
  const auto found =
      std::ranges::find_if(cChecks, [&](const Check& check) { return check.name == name; });
  return found == std::end(cChecks) ? nullptr : found;
}

void checkLoad(Context& context) {
  missingFunctions(context);
}

void checkFunctions(Context& context) {
  const std::string missing = missingFunctions(context);
  if (missing.empty()) return;
  context.reporter.fail("it lacks " + missing + ".",
                        "Export all five under their plain names: extern \"C\", with default "
                        "visibility.");
}

void checkVersion(Context& context) {
  TestedLibrary library(context);
  for (int time = 0; time < 2; ++time) {
    const int version = library.version();
    if (version == static_cast<int>(LIPC::cProtocolVersion)) continue;
    context.reporter.fail(fmt::format("getLIPCVersion returned {}; this protocol has version {}.",
                                      version, LIPC::cProtocolVersion),
                          "Build it against the library of that version.");
  }
}

void checkType(Context& context) {
  TestedLibrary library(context);
  const std::uint32_t type = library.type();
  if (!isPrintableCode(type)) {
    context.reporter.fail(
        fmt::format("getClientType returned 0x{:08x}, which is not four printable characters.",
                    type),
        "Return a four-character code, the first character in the most significant byte.");
  }
  context.reporter.note("type " + typeText(type));
  const auto compare = [&](const char* when) {
    const std::uint32_t now = library.type();
    if (now == type) return;
    context.reporter.fail(
        fmt::format("getClientType returned 0x{:08x} first and 0x{:08x} {}.", type, now, when),
        "Return the same code at every call.");
  };
  compare("when it was called again");
  library.load();
  compare("after loadLibrary");
  library.unload();
  compare("after unloadLibrary");
}

void checkCycles(Context& context) {
  const Holdings before = Holdings::now();
  if (before.unknown().find("threads") != std::string::npos)
    context.reporter.skip("this system does not tell what a process holds.");
  if (!before.unknown().empty())
    context.reporter.note("this system does not list " + before.unknown() +
                          ": these were not looked at");
  std::size_t settledBytes = 0;
  for (int cycle = 1; cycle <= context.times; ++cycle) {
    oneCycle(context, cycle, before);
    if (cycle == cCyclesToSettle) settledBytes = LIPC::platform::residentBytes().value_or(0);
  }
  const std::size_t bytes = LIPC::platform::residentBytes().value_or(0);
  if (const std::string left = leftBeyond(context, before); !left.empty()) {
    context.reporter.fail(
        fmt::format("after {} cycles of loading and unloading there are: {}.", context.times, left),
        "End in unloadLibrary what loadLibrary began: join its threads, close "
        "its files, remove its segments and semaphores.");
  }
  if (context.times < cCyclesToSettle + cCyclesToJudge) {
    context.reporter.note(fmt::format("memory was not judged: that takes {} cycles",
                                      cCyclesToSettle + cCyclesToJudge));
  } else {
    judgeMemory(context, settledBytes, bytes);
  }
}

}  // namespace tools::validate
