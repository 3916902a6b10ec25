// A participant or a host dies at any of its steps: everybody else goes on.
//
// A sample runs by itself. LIPC_EVERY_KILL=1 kills at every system call and 240 times between
// instructions, LIPC_EVERY_KILL=N at an N-th of them.
#include <climits>
#include <csignal>

#include <gtest/gtest.h>

#include "tests/faults/Session.h"
#include "tests/faults/Stepper.h"

namespace {

using namespace faults;
using support::Process;

constexpr char cPool[] = "/dev/shm/LIPC_SESSION_CONNECTION_POOL";
constexpr char cKeyFile[] = "/tmp/LIPC_";
constexpr char cJoinThread[] = "LIPC Client Aut";
constexpr long cMostInstructions = 20'000;
constexpr int cInstructionKills = 240;
constexpr int cSampledKills = 2;

struct Phase {
  const char* name;
  bool isOfHost;
  enum { eStart, eLife, eRenewal, eStop } when;
  Steps steps;
};

const Phase cPhases[] = {
    {"Join", false, Phase::eStart, {cJoinThread, cKeyFile}},
    {"JoinInThePool", false, Phase::eStart, {cJoinThread, cPool, true}},
    {"Leave", false, Phase::eStop, {cJoinThread, ""}},
    {"LeaveInThePool", false, Phase::eStop, {cJoinThread, cPool, true}},
    {"HostStart", true, Phase::eStart, {"", cKeyFile}},
    {"HostStartInThePool", true, Phase::eStart, {"", cPool, true}},
    {"HostLife", true, Phase::eLife, {"", ""}},
    {"HostLifeInThePool", true, Phase::eLife, {"LIPC host regis", "", true}},
    {"HostRenewsThePool", true, Phase::eRenewal, {"", cPool, true}},
    {"HostStop", true, Phase::eStop, {"", ""}},
};

const Program cHost = {LIPC_COMMAND, "host"};

Program participant(const std::string& id, const std::string& target) {
  return {LIPC_PARTICIPANT, id, "in=1", "out=1", "to=" + target};
}

/// One death in a session of its own, and what came of it.
class Death {
 public:
  /// Returns the number of steps that the victim came to.
  long dieAt(const Phase& phase, long last) {
    const bool isAtStart = phase.when == Phase::eStart;
    const char* ready = phase.isOfHost ? "Clients" : "established";
    HeldProcess victim(phase.isOfHost ? cHost : participant("victim", "a"));
    if (!phase.isOfHost) mOthers.start("host", cHost, "Clients");
    if (phase.isOfHost && !isAtStart) start(victim, ready);
    // They wait for a session that is just being started.
    const char* joined = phase.isOfHost && isAtStart ? "" : "established";
    mOthers.start("b", {LIPC_PARTICIPANT, "b", "in=1", "type=VMIX"}, joined);
    mOthers.start("a", participant("a", "b"), joined);
    mOthers.start("leaver", participant("leaver", "a"), joined);
    if (!phase.isOfHost && !isAtStart) start(victim, ready);
    if (phase.when == Phase::eRenewal) Process({LIPC_PARTICIPANT, "dying", "die=pool"}).wait(10s);

    Stepper stepper(victim.pid(), phase.steps);
    const long steps = stepper.killAt(last, begin(phase, victim, ready), 30s);
    mOthers["leaver"].closeInput();
    victim->wait(5s);
    return steps;
  }

  /// Returns what went wrong for the others.
  const std::map<std::string, std::string>& look(const Phase& phase) {
    mOthers.read();
    if (phase.isOfHost) mOthers.start("host", cHost, "Clients");
    // While the dead one's stamp is fresh, its ID is not free: the successor may take another.
    mOthers.start("successor", participant("victim", "a"), "established");
    mOthers.start("other", participant("other", "a"));
    mOthers.waitFor({"a", "b", "other", "a>b", "other>a"});
    mOthers.end();
    return mOthers.faults;
  }

 private:
  static void start(HeldProcess& victim, const char* ready) {
    victim.go();
    victim->waitForLine(ready, 15s);
  }

  /// Has the phase begin; what it returns says whether it is over.
  std::function<bool()> begin(const Phase& phase, HeldProcess& victim, const char* ready) {
    if (phase.when == Phase::eLife) {
      Process& visitor = mOthers.start("visitor", participant("visitor", "a"));
      return [&visitor] {
        if (visitor.waitForLine("established", 2ms)) visitor.closeInput();
        return !visitor.isRunning();
      };
    }
    if (phase.when == Phase::eStart) victim.go();
    if (phase.when == Phase::eStop) phase.isOfHost ? victim->signal(SIGTERM) : victim->closeInput();
    return [&, ready] { return phase.when == Phase::eStart && victim->waitForLine(ready, 2ms); };
  }

  Session mOthers;
};

/// The steps to die at, out of as many as the phase has.
std::vector<long> chooseSteps(const Phase& phase, long count, std::mt19937& random) {
  const int every = numberFrom("LIPC_EVERY_KILL", 0);
  std::uniform_int_distribution<long> any(1, std::max(1L, count));
  std::vector<long> chosen;
  if (every == 0 || phase.steps.areInstructions) {
    for (int kills = every == 0 ? cSampledKills : cInstructionKills / every; kills > 0; --kills)
      chosen.push_back(any(random));
  } else {
    for (long step = 1 + any(random) % every; step <= count; step += every)
      chosen.push_back(step);
  }
  return chosen;
}

class AKill : public testing::TestWithParam<Phase> {};

TEST_P(AKill, AtAnyStepHarmsNobodyElse) {
  const Phase& phase = GetParam();
  std::mt19937 random = seededRandom();
  long count = 0;
  int survived = 0;
  // The first one dies when its phase is over: so many steps there are.
  std::vector<long> steps{phase.steps.areInstructions ? cMostInstructions : LONG_MAX};
  for (std::size_t kill = 0; kill < steps.size(); ++kill) {
    Death death;
    const long step = death.dieAt(phase, steps[kill]);
    if (kill == 0) {
      count = step;
      ASSERT_GT(count, 20) << "the steps were not seen";
      const std::vector<long> chosen = chooseSteps(phase, count, random);
      steps.insert(steps.end(), chosen.begin(), chosen.end());
    }
    const auto& faults = death.look(phase);
    if (faults.empty()) ++survived;
    for (const auto& [fault, whose] : faults) {
      ADD_FAILURE() << phase.name << ", step " << step << " of " << count << ": " << fault << whose;
    }
  }
  std::printf("%-20s steps %6ld  kills %4zu  survived %4d\n", phase.name, count, steps.size(),
              survived);
}

INSTANTIATE_TEST_SUITE_P(In, AKill, testing::ValuesIn(cPhases),
                         [](const auto& phase) { return std::string(phase.param.name); });

}  // namespace
