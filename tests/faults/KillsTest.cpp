// A participant or a host dies at any of its steps: everybody else goes on.
//
// A sample runs by itself. LIPC_EVERY_KILL=1 kills at every system call and 240 times between
// instructions, LIPC_EVERY_KILL=N at an N-th of them; that takes longer than ctest waits, so:
//
//   LIPC_EVERY_KILL=1 tests/sandbox build/dev/tests/kills_tests
#include <gtest/gtest.h>

#include "tests/faults/Session.h"
#include "tests/faults/Stepper.h"

namespace {

using namespace faults;

constexpr char cPool[] = "/dev/shm/LIPC_SESSION_CONNECTION_POOL";
constexpr char cKeyFile[] = "/tmp/LIPC_";
constexpr char cJoinThread[] = "LIPC Client Aut";
constexpr long cMostInstructions = 20'000;
constexpr int cInstructionKills = 240;
constexpr int cSampledKills = 2;
constexpr int cLooksAtADeadHost = 7;  // of 0.6 s

struct Phase {
  const char* name;
  bool isOfHost;
  enum { eStart, eLife, eRenewal, eStop } when;
  Steps steps;
};

// The longest first, for those that run side by side.
const Phase cPhases[] = {
    {"HostRenewsThePool", true, Phase::eRenewal, {"", cPool, true}},
    {"Join", false, Phase::eStart, {cJoinThread, cKeyFile}},
    {"JoinInThePool", false, Phase::eStart, {cJoinThread, cPool, true}},
    {"Leave", false, Phase::eStop, {cJoinThread, ""}},
    {"LeaveInThePool", false, Phase::eStop, {cJoinThread, cPool, true}},
    {"HostStart", true, Phase::eStart, {"", cKeyFile}},
    {"HostStartInThePool", true, Phase::eStart, {"", cPool, true}},
    {"HostLife", true, Phase::eLife, {"", ""}},
    {"HostLifeInThePool", true, Phase::eLife, {"LIPC host regis", "", true}},
    {"HostStop", true, Phase::eStop, {"", ""}},
};

Program participant(const std::string& id, const std::string& target) {
  return {LIPC_PARTICIPANT, id, "in=1", "out=1", "to=" + target};
}

/// The program, as the leader of a process group, once it is told to go; its first line is its ID.
Program held(Program program) {
  const char* held = R"(echo $$; read -r go; exec "$0" "$@")";
  program.insert(program.begin(), {"/usr/bin/env", "setsid", "/bin/sh", "-c", held});
  return program;
}

/// Has a victim die in a session of its own and returns the number of steps that it came to. Counts
/// it unless it ended before.
long dieIn(Session& others, const Phase& phase, long last, int& deaths) {
  const bool isAtStart = phase.when == Phase::eStart;
  const char* ready = phase.isOfHost ? "Clients" : "established";
  Process victim(held(phase.isOfHost ? Program{LIPC_COMMAND, "host"} : participant("victim", "a")));
  victim.waitForLine("", 10s);
  const pid_t pid = std::stoi(victim.line());
  const auto go = [&] {
    victim.send("go");
    if (!isAtStart) victim.waitForLine(ready, 15s);
  };
  if (!phase.isOfHost) others.startHost();
  if (phase.isOfHost && !isAtStart) go();
  // They wait for a session that is just being started.
  const char* joined = phase.isOfHost && isAtStart ? "" : "established";
  others.start("b", {LIPC_PARTICIPANT, "b", "in=1", "type=VMIX"}, joined);
  others.start("a", participant("a", "b"), joined);
  Process& leaver = others.start("leaver", participant("leaver", "a"), joined);
  if (!phase.isOfHost && !isAtStart) go();
  if (phase.when == Phase::eRenewal) Process({LIPC_PARTICIPANT, "dying", "die=pool"}).wait(10s);

  Stepper stepper(pid, phase.steps);
  std::function<bool()> isOver = [] { return false; };
  if (isAtStart) {
    go();
    isOver = [&] { return victim.waitForLine(ready, 2ms); };
  } else if (phase.when == Phase::eStop) {
    phase.isOfHost ? victim.signal(SIGTERM) : victim.closeInput();
  } else if (phase.when == Phase::eLife) {
    isOver = [&visitor = others.start("visitor", participant("visitor", "a"), "")] {
      if (visitor.waitForLine("established", 2ms)) visitor.closeInput();
      return !visitor.isRunning();
    };
  }
  const long steps = stepper.killAt(last, isOver);
  leaver.closeInput();
  if (victim.wait(5s) == -SIGKILL) ++deaths;
  return steps;
}

/// Looks whether the others go on, for themselves and with a host and participants that come.
void goOn(Session& others, const Phase& phase) {
  // Long enough for clients to notice that the host is gone, and to look at the pool it left.
  for (int looks = phase.isOfHost && phase.steps.areInstructions ? cLooksAtADeadHost : 1;
       looks > 0 && others.faults.empty(); --looks)
    others.read();
  if (phase.isOfHost) others.startHost();
  // While the dead one's stamp is fresh, its ID is not free: the successor may take another.
  others.start("successor", participant("victim", "a"), "established");
  others.start("other", participant("other", "a"), "");
  others.waitFor({"a", "b", "other", "a>b", "other>a"});
  others.end();
}

/// The steps to die at, spread over as many as the phase has.
std::vector<long> chooseSteps(const Phase& phase, long count) {
  std::mt19937 random = seededRandom();
  const int every = numberFrom("LIPC_EVERY_KILL", 0);
  const long most = phase.steps.areInstructions ? cInstructionKills : count;
  const long kills = every == 0 ? cSampledKills : most / every;
  std::vector<long> chosen;
  for (long kill = 0; kill < kills; ++kill) {
    const long step = (kill * count + static_cast<long>(random()) % count) / kills;
    // What is done for the second time takes a tenth of the instructions.
    chosen.push_back(1 + (phase.steps.areInstructions ? step * step / count : step));
  }
  return chosen;
}

class AKill : public testing::TestWithParam<std::size_t> {};

TEST_P(AKill, AtAnyStepHarmsNobodyElse) {
  const Phase& phase = cPhases[GetParam()];
  int deaths = 0;
  int harmless = 0;
  // The first one dies when its phase is over: so many steps there are.
  std::vector<long> steps{phase.steps.areInstructions ? cMostInstructions : LONG_MAX};
  for (std::size_t kill = 0; kill < steps.size(); ++kill) {
    Session others;
    const long step = dieIn(others, phase, steps[kill], deaths);
    goOn(others, phase);
    if (others.faults.empty()) ++harmless;
    for (const auto& [fault, whose] : others.faults)
      ADD_FAILURE() << phase.name << ", step " << step << ": " << fault << whose;
    if (kill != 0) continue;
    ASSERT_GT(step, 20) << "the steps were not seen";
    const std::vector<long> chosen = chooseSteps(phase, step);
    steps.insert(steps.end(), chosen.begin(), chosen.end());
    std::printf("%s: %ld steps\n", phase.name, step);
  }
  std::printf("%-20s tries %4zu  killed %4d  harmless %4d\n", phase.name, steps.size(), deaths,
              harmless);
}

INSTANTIATE_TEST_SUITE_P(In, AKill, testing::Range(std::size_t{0}, std::size(cPhases)),
                         [](const auto& phase) { return std::string(cPhases[phase.param].name); });

}  // namespace
