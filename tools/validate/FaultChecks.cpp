// SPDX-License-Identifier: BSL-1.0

// The library's client and hosts that misbehave. Each check ends with a good host, which the client
// has to join.
#include <csignal>
#include <thread>

#include <fcntl.h>
#include <fmt/core.h>
#include <spawn.h>
#include <sys/wait.h>

#include "inspect/Picture.h"
#include "lipc/util/platform/SelfPlatform.h"
#include "tools/ExitStatus.h"
#include "tools/Look.h"
#include "tools/Text.h"
#include "tools/validate/ScriptedHost.h"
#include "tools/validate/TestedLibrary.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): macOS declares none

namespace tools::validate {
namespace {

using host::HostOptions;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// Longer than a join's wait for an answer, so that the client is past it.
constexpr milliseconds cSilence(3'000);
/// Twenty attempts to join.
constexpr milliseconds cWatch(2'000);
/// How often a bad host is begun anew because the client had joined: it may slip in once while the
/// host is being made.
constexpr int cTries = 3;
constexpr milliseconds cSpawnTime(10'000);

/// The library, loaded, and its client, which waits for a host.
struct Loaded {
  explicit Loaded(Context& context) : library(context), type(library.type()) { library.load(); }
  TestedLibrary library;
  const std::uint32_t type;
};

void joinGoodHost(Context& context, Loaded& loaded, milliseconds time, const std::string& what) {
  ScriptedHost host(context, loaded.type, {}, what);
  host.requireJoin(time);
}

void endWithGoodHost(Context& context, Loaded& loaded) {
  joinGoodHost(context, loaded, cJoinTime, "the good host that came after");
  loaded.library.close();
}

/// A host whose heartbeat is not one: the client has to leave it.
void checkHeartbeat(Context& context, const HostOptions& options, const std::string& what) {
  Loaded loaded(context);
  {
    ScriptedHost host(context, loaded.type, options, what);
    host.requireJoin(cFirstJoinTime);
    if (!host.waitForLeaves(1, cNoticeTime)) {
      context.reporter.fail(
          fmt::format("the client was still connected {} s after it joined {}.",
                      cNoticeTime.count(), what),
          "Read the heartbeat at each pass; leave when it is below the last one, and after eleven "
          "passes without progress.");
    }
  }
  endWithGoodHost(context, loaded);
}

/// A host that may not be joined. The client joins a good one first, so that it is known to try.
/// `look` judges the table at the end of the watch.
void checkKeptOut(
    Context& context, const std::vector<HostOptions>& options, const std::string& what,
    const std::function<void(ScriptedHost&)>& look = [](ScriptedHost&) {}) {
  Loaded loaded(context);
  joinGoodHost(context, loaded, cFirstJoinTime, "the good host that came before");
  for (const HostOptions& each : options) {
    bool hasJoined = true;
    for (int tries = 0; tries < cTries && hasJoined; ++tries) {
      ScriptedHost host(context, loaded.type, each, what);
      const milliseconds watch = cWatch / options.size();
      hasJoined = host.waitForJoins(1, watch) || host.hasRow();
      if (!hasJoined) look(host);
    }
    if (hasJoined) {
      context.reporter.fail("the client joined " + what + ".",
                            "Look before each join at LIPC_SESSION_NOCONNECT, LIPC_VERSION, the "
                            "registration lock and the free rows, in this order.");
    }
  }
  endWithGoodHost(context, loaded);
}

/// A host in a process of its own, which can be killed.
class HostProcess {
 public:
  explicit HostProcess(Context& context) {
    std::string program = LIPC::platform::executablePath(), name = "lipc", word = "host";
    char* arguments[] = {name.data(), word.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const int error = posix_spawn(&mPid, program.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error == 0) return;
    mPid = -1;
    context.reporter.giveUp(eExitSessionFailed,
                            fmt::format("{} cannot be started: error {}.", program, error));
  }
  ~HostProcess() { end(); }
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  void end() {
    if (mPid < 0) return;
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
    mPid = -1;
  }

 private:
  pid_t mPid = -1;
};

bool isInSession(std::uint32_t type) {
  const auto session = inspect::readSession(*inspect::openMachine(), {.withConnections = false});
  return std::any_of(session.clients.begin(), session.clients.end(),
                     [&](const auto& client) { return client.type == type; });
}

HostOptions with(bool host::Faults::*fault) {
  HostOptions options;
  options.faults.*fault = true;
  return options;
}

}  // namespace

void checkSilent(Context& context) {
  Loaded loaded(context);
  {
    ScriptedHost host(context, loaded.type, with(&host::Faults::silent), "a silent host");
    host.requireJoin(cFirstJoinTime);
    if (host.waitForLeaves(1, cSilence)) {
      context.reporter.fail("the client left a host that did not answer its join.",
                            "Stay: a join is complete whether the host answered or not.");
    }
  }
  endWithGoodHost(context, loaded);
}

void checkStalled(Context& context) {
  checkHeartbeat(context, with(&host::Faults::stallHeartbeat),
                 "a host whose heartbeat stands still");
}

void checkGoneBack(Context& context) {
  checkHeartbeat(context, with(&host::Faults::heartbeatBack),
                 "a host whose heartbeat goes back every 2 s");
}

void checkRestarted(Context& context) {
  Loaded loaded(context);
  {
    HostProcess host(context);
    context.reporter.step("the wait for the client to join a host that will be killed",
                          cFirstJoinTime + cSpawnTime);
    const auto deadline = steady_clock::now() + cFirstJoinTime;
    while (!isInSession(loaded.type)) {
      if (steady_clock::now() >= deadline) {
        context.reporter.fail(fmt::format("no client of type {} joined within {} s.",
                                          typeText(loaded.type), cFirstJoinTime.count()),
                              "See the check \"join\".");
      }
      std::this_thread::sleep_for(cLook);
    }
  }
  endWithGoodHost(context, loaded);
}

void checkLockHeld(Context& context) {
  checkKeptOut(context, {with(&host::Faults::holdLock)}, "a host that held the registration lock");
}

void checkTableFull(Context& context) {
  checkKeptOut(
      context, {with(&host::Faults::fillTable)}, "a host whose table was full",
      [&](ScriptedHost& host) {
        const LIPC::ClientEntry* const rows = host.session().session().entries;
        const auto fillers = std::count_if(rows, rows + LIPC::cMaxClients, [](const auto& row) {
          return row.type == LIPC::fourCharacterCode("FILL") && !row.isFree();
        });
        if (fillers == LIPC::cMaxClients) return;
        context.reporter.fail(
            fmt::format("{} rows of a full table were taken away.", LIPC::cMaxClients - fillers),
            "Take a free row alone, or that of your own ID when its owner is dead.");
      });
}

void checkOtherVersion(Context& context) {
  HostOptions newer, older, narrower;
  newer.protocolVersion = LIPC::cProtocolVersion + 1;
  older.protocolVersion = LIPC::cProtocolVersion - 1;
  narrower.pointerWidthBits = 32;
  checkKeptOut(context, {newer, older, narrower}, "a host of another version or pointer width");
}

void checkNoConnect(Context& context) {
  checkKeptOut(context, {with(&host::Faults::noConnect)}, "a host that forbade joins");
}

}  // namespace tools::validate
