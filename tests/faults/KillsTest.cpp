// SPDX-License-Identifier: BSL-1.0

// A participant or a host dies at any of its steps: everybody else goes on.
//
// A sample runs by itself. LIPC_EVERY_KILL=1 kills at every system call and 240 times between
// instructions, LIPC_EVERY_KILL=N at an N-th of them; that takes longer than ctest waits, so:
//
//   LIPC_EVERY_KILL=1 tests/sandbox build/dev/tests/kills_tests
#include "tests/faults/Session.h"
#include "tests/faults/Stepper.h"

namespace {

using namespace faults;

constexpr char cPool[] = "/dev/shm/LIPC_SESSION_CONNECTION_POOL";
constexpr char cKeyFile[] = "/tmp/LIPC_";
constexpr long cInstructions = 20'000;
constexpr int cInstructionKills = 240;
constexpr int cLooksAtADeadHost = 4;  // of 0.6 s

struct Phase {
  const char* name;
  bool isOfHost;
  enum { eStart, eLife, eRenewal, eStop } when;
  const char* from;  // where its steps begin to count
  long steps;        // somewhat more than there are; cInstructions where they are those
};

// The longest first, for those that run side by side.
const Phase cPhases[] = {
    {"HostRenewsThePool", true, Phase::eRenewal, cPool, cInstructions},
    {"HostLifeInThePool", true, Phase::eLife, "LIPC host regis", cInstructions},
    {"JoinInThePool", false, Phase::eStart, cPool, cInstructions},
    {"LeaveInThePool", false, Phase::eStop, cPool, cInstructions},
    {"Join", false, Phase::eStart, cKeyFile, 200},
    {"Leave", false, Phase::eStop, "", 100},
    {"HostStart", true, Phase::eStart, cKeyFile, 320},
    {"HostLife", true, Phase::eLife, "", 60},
    {"HostStop", true, Phase::eStop, "", 260}};

/// Has a victim die in a session of its own and returns the number of steps that it came to.
long dieIn(Session& others, const Phase& phase, long last) {
  const bool isAtStart = phase.when == Phase::eStart;
  const char* ready = phase.isOfHost ? "Clients" : "established";
  // It leads a process group and begins when it is told to.
  Program held{"/usr/bin/env", "setsid", "/bin/sh", "-c", R"(echo $$; read -r go; exec "$0" "$@")"};
  if (phase.isOfHost)
    held.insert(held.end(), {LIPC_COMMAND, "host"});
  else
    held.insert(held.end(), {LIPC_PARTICIPANT, "victim", "a"});
  Process victim(held);
  victim.waitForLine("", 10s);
  const pid_t pid = std::stoi(victim.line());
  if (!phase.isOfHost) others.startHost();
  if (!isAtStart) victim.send("go");
  if (!isAtStart) victim.waitForLine(ready, 15s);
  // They wait for a session that is just being started.
  const char* joined = phase.isOfHost && isAtStart ? "" : "established";
  others.start("b", {LIPC_PARTICIPANT, "b"}, joined);
  others.start("a", {LIPC_PARTICIPANT, "a", "b"}, joined);
  Process& leaver = others.start("leaver", {LIPC_PARTICIPANT, "leaver", "a"}, joined);
  if (phase.when == Phase::eRenewal) Process({LIPC_PARTICIPANT}).wait(10s);

  Stepper stepper(pid, phase.from, phase.steps == cInstructions);
  std::function<bool()> isOver = [] { return false; };
  if (isAtStart) {
    victim.send("go");
    isOver = [&] { return victim.waitForLine(ready, 2ms); };
  } else if (phase.when == Phase::eStop) {
    phase.isOfHost ? victim.signal(SIGTERM) : victim.closeInput();
  } else if (phase.when == Phase::eLife) {
    isOver = [&visitor = others.start("visitor", {LIPC_PARTICIPANT, "visitor", "a"}, "")] {
      if (visitor.waitForLine("established", 2ms)) visitor.closeInput();
      return !visitor.isRunning();
    };
  }
  const long steps = stepper.killAt(last, isOver);
  leaver.closeInput();
  return steps;
}

/// Looks whether the others go on, for themselves and with a host and participants that come.
void goOn(Session& others, const Phase& phase) {
  // Long enough for clients to notice that the host is gone, and to look at the pool it left.
  for (int looks = phase.isOfHost && phase.steps == cInstructions ? cLooksAtADeadHost : 1;
       looks > 0 && others.faults.empty(); --looks)
    others.read();
  if (phase.isOfHost) others.startHost();
  // While the dead one's stamp is fresh, its ID is not free: the successor may take another.
  others.start("successor", {LIPC_PARTICIPANT, "victim", "a"}, "established");
  others.start("other", {LIPC_PARTICIPANT, "other", "a"}, "");
  others.waitFor({R"("id":"a")", R"("id":"b")", R"("id":"other")", R"("source":"a","target":"b")",
                  R"("source":"other","target":"a")"});
  others.end();
}

class AKill : public testing::TestWithParam<std::size_t> {};

TEST_P(AKill, AtAnyStepHarmsNobodyElse) {
  const Phase& phase = cPhases[GetParam()];
  const bool isInThePool = phase.steps == cInstructions;
  const int every = numberFrom("LIPC_EVERY_KILL", 0);
  const long most = isInThePool ? cInstructionKills : phase.steps;
  const long kills = every != 0 ? most / every : isInThePool ? 2 : 1;
  std::mt19937 random = seededRandom();
  int harmless = 0;
  for (long kill = 0; kill < kills; ++kill) {
    const long step = (kill * phase.steps + static_cast<long>(random()) % phase.steps) / kills;
    Session others;
    // What is done for the second time takes a tenth of the instructions.
    const long died = dieIn(others, phase, 1 + (isInThePool ? step * step / phase.steps : step));
    EXPECT_GT(died, 0) << "the steps were not seen";
    goOn(others, phase);
    harmless += others.faults.empty() ? 1 : 0;
    for (const auto& [fault, whose] : others.faults)
      ADD_FAILURE() << phase.name << ", step " << died << ": " << fault << whose;
  }
  std::printf("%-20s tries %4ld  harmless %4d\n", phase.name, kills, harmless);
}

INSTANTIATE_TEST_SUITE_P(In, AKill, testing::Range(std::size_t{0}, std::size(cPhases)),
                         [](const auto& phase) { return std::string(cPhases[phase.param].name); });

}  // namespace
