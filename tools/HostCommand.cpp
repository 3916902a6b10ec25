// SPDX-License-Identifier: BSL-1.0
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>
#include <iostream>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/core.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "host/SessionHost.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Look.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Text.h"
#include "tools/WakeUp.h"

namespace tools {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds cClientTimeout(15'000);
constexpr int cWatchMS = 300;
/// Whatever happens wakes the command. That nobody reads a pipe any more is looked for besides: not
/// every system wakes for it.
constexpr milliseconds cReaderLook(10'000);

struct HostCommandOptions {
  host::HostOptions host;
  std::vector<std::string> libraries;
  bool once = false;
  bool asJson = false;
  double countersEverySeconds = 0;  // 0: on request alone
};

constexpr std::size_t cMostNamed = 8;

std::atomic<bool> sStopRequested{false};
std::atomic<bool> sCountersRequested{false};
/// Wakes the main thread; there before signals are caught.
std::atomic<const WakeUp*> sWakeUp{nullptr};

/// The first signal ends the session in order, a second one ends the process at once; the next host
/// clears away what it leaves then.
void requestStop(int) {
  if (sStopRequested.exchange(true)) _exit(eExitFailure);
  sWakeUp.load()->wake();
}

void requestCounters(int) {
  sCountersRequested = true;
  sWakeUp.load()->wake();
}

/// Without SA_RESTART, so that a signal also ends a print that nobody reads.
void catchSignals() {
  struct sigaction action {};
  action.sa_handler = requestStop;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    sigaction(signal, &action, nullptr);
  action.sa_handler = requestCounters;
  action.sa_flags = SA_RESTART;
  sigaction(SIGUSR1, &action, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
}

/// Keeps what happens until the command prints it: the host is never held up by a slow reader.
class Follower {
 public:
  void operator()(const inspect::Event& event) {
    const std::lock_guard lock(mMutex);
    if (event.kind == inspect::Event::eKind::eJoined) mJoined.insert(event.type);
    if (!mFollowing || mEvents.size() >= cMostWaiting) return;
    mEvents.push_back(event);
    sWakeUp.load()->wake();
  }

  bool hasJoined(std::uint32_t type) {
    const std::lock_guard lock(mMutex);
    return mJoined.count(type) != 0;
  }

  /// From here on events are kept.
  void follow() {
    const std::lock_guard lock(mMutex);
    mFollowing = true;
  }

  std::deque<inspect::Event> takeEvents() {
    const std::lock_guard lock(mMutex);
    return std::exchange(mEvents, {});
  }

 private:
  /// Events that may wait for a reader; later ones are dropped.
  static constexpr std::size_t cMostWaiting = 100'000;

  std::mutex mMutex;
  bool mFollowing = false;
  std::set<std::uint32_t> mJoined;
  std::deque<inspect::Event> mEvents;
};

void printEvents(Follower& follower, bool asJson, Output& output) {
  for (const inspect::Event& event : follower.takeEvents()) {
    output.print(asJson ? dump(eventJson(event), -1) : eventText(event));
  }
}

/// Prints the audio's counters when they were asked for, by a signal or by the clock.
class CountersPrinter {
 public:
  explicit CountersPrinter(double everySeconds) : mEvery(everySeconds) {}

  milliseconds untilDue() const {
    if (mEvery.count() <= 0) return cReaderLook;
    const auto left = mEvery - (steady_clock::now() - mLast);
    if (left >= cReaderLook) return cReaderLook;  // also what no milliseconds can be made of
    return std::max(std::chrono::ceil<milliseconds>(left), milliseconds(0));
  }

  void look(host::SessionHost& session, bool asJson, Output& output) {
    const steady_clock::time_point now = steady_clock::now();
    const bool isTime = mEvery.count() > 0 && now - mLast >= mEvery;
    if (!sCountersRequested.exchange(false) && !isTime) return;
    mLast = now;
    const auto counters = session.audioCounters();
    output.print(asJson ? dump(audioJson(counters), -1) : audioText(counters));
  }

 private:
  std::chrono::duration<double> mEvery;
  steady_clock::time_point mLast = steady_clock::now();
};

/// Waits for the clients of the loaded libraries; false when one has not joined in time.
bool waitForClients(const std::set<std::uint32_t>& types, const Output& output,
                    Follower& follower) {
  const auto deadline = steady_clock::now() + cClientTimeout;
  for (const std::uint32_t type : types) {
    while (!follower.hasJoined(type)) {
      if (sStopRequested || output.isOver()) return true;
      if (steady_clock::now() >= deadline) {
        complain(
            "the client of type {} did not join within {} seconds. Its library's "
            "messages above may say why.",
            typeText(type), cClientTimeout.count() / 1000);
        return false;
      }
      std::this_thread::sleep_for(cLook);
    }
  }
  return true;
}

void sayWhoIsWaitedFor(const std::vector<std::string>& ids) {
  std::string names;
  for (std::size_t i = 0; i < std::min(ids.size(), cMostNamed); ++i)
    names += (i == 0 ? "" : ", ") + printable(ids[i]);
  if (ids.size() > cMostNamed) names += fmt::format(" and {} more", ids.size() - cMostNamed);
  complain(
      "waiting up to 5 seconds for {} to leave; a second Ctrl-C ends at once and leaves "
      "the session for the next host to clear away",
      names);
}

void stop(host::SessionHost& session) {
  for (const std::string& id : session.stop(sayWhoIsWaitedFor)) {
    complain("the client {} did not leave within 5 seconds", printable(id));
  }
  for (const std::string& kept : session.keptAtStop())
    complain("{}", printable(kept));
}

int serve(host::SessionHost& session, const HostCommandOptions& options, Output& output,
          Follower& follower) {
  for (const std::string& removed : session.removedAtStart()) {
    complain("removed what a dead session left: {}", printable(removed));
  }
  std::set<std::uint32_t> types;
  for (const std::string& path : options.libraries)
    types.insert(session.load(path).clientType());
  const bool allJoined = waitForClients(types, output, follower);
  std::cout.flush();  // what the libraries said comes before the picture

  if (!options.once) follower.follow();
  const auto picture = inspect::readSession(
      *inspect::openMachine(),
      {.watchHeartbeatMS = cWatchMS, .withConnections = false, .withSettings = true});
  if (picture.state == inspect::SessionPicture::eRead && !sStopRequested) {
    output.print(options.asJson ? dump(sessionJson(picture), options.once ? 2 : -1)
                                : sessionText(picture));
  }
  CountersPrinter counters(options.countersEverySeconds);
  while (!options.once && !sStopRequested && !output.isOver()) {
    printEvents(follower, options.asJson, output);
    counters.look(session, options.asJson, output);
    sWakeUp.load()->sleepFor(counters.untilDue(), output.descriptor());
  }
  stop(session);
  printEvents(follower, options.asJson, output);
  if (!output.failure().empty()) {
    complain("{} The session was ended.", output.failure());
    return eExitFailure;
  }
  return allJoined || !options.once ? eExitOK : eExitClientMissing;
}

int runHost(const HostCommandOptions& options) {
  static const WakeUp wakeUp;
  sWakeUp = &wakeUp;
  catchSignals();
  Output output;
  Follower follower;
  try {
    host::SessionHost session(options.host, std::ref(follower));
    return serve(session, options, output, follower);
  } catch (const host::SessionAliveError& error) {
    complain("{}", error.what());
    return eExitSessionAlive;
  } catch (const host::LibraryError& error) {
    complain("{}", printable(error.what()));
    return eExitLibrary;
  } catch (const std::exception& error) {
    complain("the session cannot be made: {}", error.what());
    return eExitSessionFailed;
  }
}

}  // namespace

void addHostCommand(CLI::App& app, int& status) {
  CLI::App* command = app.add_subcommand(
      "host",
      "Run a reference session host until Ctrl-C. Shows the session, then a line for each thing "
      "that happens in it.");
  const auto options = std::make_shared<HostCommandOptions>();
  command->add_option("--load", options->libraries, "A processor library to load (repeatable)")
      ->type_name("PATH");
  command->add_flag("--once", options->once,
                    "Wait for the loaded libraries' clients, show the session once and end");
  command->add_flag("--json", options->asJson,
                    "Print JSON: one object with --once, otherwise one a line");
  command
      ->add_option("--reference", options->host.referenceClient,
                   "ID of the session's reference client")
      ->type_name("ID");

  command
      ->add_option("--counters", options->countersEverySeconds,
                   "Print each client's audio counters every so many seconds. SIGUSR1 has them "
                   "printed at any time")
      ->type_name("SECONDS")
      ->check([](const std::string& text) {
        char* end = nullptr;
        const bool isAbove0 = std::strtod(text.c_str(), &end) > 0 && *end == '\0';
        return isAbove0 ? std::string() : text + " is no number of seconds above 0";
      });

  const std::string faults = "Faults, to test participants against";
  host::Faults& fault = options->host.faults;
  command->add_flag("--silent", fault.silent, "Never answer a join or a leave")->group(faults);
  command->add_flag("--stall-heartbeat", fault.stallHeartbeat, "Let the heartbeat stand still")
      ->group(faults);
  command->add_flag("--heartbeat-back", fault.heartbeatBack, "Let it go back every two seconds")
      ->group(faults);
  command->add_flag("--hold-lock", fault.holdLock, "Hold the registration lock for ever")
      ->group(faults);
  command->add_option("--version", options->host.protocolVersion, "Announce this protocol version")
      ->type_name("N")
      ->group(faults);
  command->add_option("--width", options->host.pointerWidthBits, "Announce this pointer width")
      ->type_name("N")
      ->group(faults);
  command->add_flag("--no-connect", fault.noConnect, "Forbid joins")->group(faults);
  command->add_flag("--fill-table", fault.fillTable, "Fill every free row of the table")
      ->group(faults);
  command->add_flag("--no-audio", fault.noAudio, "Read no client's blocks and answer none")
      ->group(faults);
  command
      ->add_option(
          "--seed", fault.seed,
          "Misbehave by chance, now and then and for some seconds, in these ways; the same "
          "seed gives the same faults at the same times")
      ->type_name("N")
      ->group(faults);
  command->footer("Example:\n  lipc host --load build/run/settings/VexoSettings.so --counters 10");
  command->callback([options, &status] { status = runHost(*options); });
}

}  // namespace tools
