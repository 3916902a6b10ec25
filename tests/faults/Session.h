// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cctype>
#include <random>

#include "host/DeadSession.h"
#include "tests/support/Process.h"

namespace faults {

using namespace std::chrono_literals;
using support::Process;
using Program = std::vector<std::string>;

/// The whole number in an environment variable, or `fallback`.
inline int numberFrom(const char* variable, int fallback) {
  const char* text = std::getenv(variable);
  return text != nullptr ? std::atoi(text) : fallback;
}

/// A source of chance for LIPC_SEED, or for 1.
inline std::mt19937 seededRandom() {
  return std::mt19937(static_cast<unsigned>(numberFrom("LIPC_SEED", 1)));
}

/// A session of processes: "host" and participants by their ID. Collects what goes wrong for them.
class Session {
 public:
  /// Waits for a line of the program, unless that is empty.
  Process& start(const std::string& name, const Program& program, const std::string& line) {
    auto& process = mProcesses[name] = std::make_unique<Process>(program);
    if (!line.empty() && !process->waitForLine(line, 20s)) faults["not started"] += " " + name;
    return *process;
  }
  Process& startHost() { return start("host", {LIPC_COMMAND, "host"}, "Clients"); }

  /// What `lipc ls` and `lipc show a` print, without blanks. A reader that fails or takes 5 s is a
  /// fault.
  std::string read() {
    std::string seen;
    for (const Program& command :
         {Program{LIPC_COMMAND, "ls", "--json"}, Program{LIPC_COMMAND, "show", "a", "--json"}}) {
      Process reader(command);
      reader.waitForLine(cNoLine, 5s);
      const int status = reader.wait(100ms);
      // No session, no such client, damaged, of another version: each is an answer.
      const bool saysWhy = status == 5 || status == 6 || status == 19 || status == 20;
      if (!saysWhy) noteEnd("reader", command[1], status);
      seen += reader.output();
    }
    std::erase_if(seen, [](unsigned char each) { return std::isspace(each); });
    return seen;
  }

  /// Reads until all of these texts are there; a fault when that takes 30 s.
  void waitFor(const std::vector<std::string>& wanted) {
    std::string missing;
    const auto isAllThere = [&] {
      for (auto& [name, process] : mProcesses)
        process->waitForLine(cNoLine, 2ms);  // lest it waits for a reader
      missing.clear();
      const std::string seen = read();
      for (const std::string& each : wanted)
        if (seen.find(each) == std::string::npos) missing += " " + each;
      return missing.empty();
    };
    if (!support::eventually(30s, isAllThere)) faults["not back"] = missing;
  }

  /// Ends a process. An end that is none in order, or takes 15 s, is a fault.
  void end(const std::string& name) {
    const bool isHost = name == "host";
    Process& process = *mProcesses.at(name);
    isHost ? process.signal(SIGTERM) : process.closeInput();
    process.waitForLine(cNoLine, faults.count("client hangs") == 0 ? 15s : 2s);
    noteEnd(isHost ? "host" : "client", name, process.wait(500ms));
  }

  /// Ends all, the host last, and takes away what is left, which is a fault too.
  /// deliberate: named semaphores are not looked for. Who is killed while he makes or removes one
  /// leaves its file.
  void end() {
    for (auto& [name, process] : mProcesses)
      if (name != "host") process->closeInput();
    for (auto& [name, process] : mProcesses)
      if (name != "host") end(name);
    end("host");
    mProcesses.clear();
    for (const std::string& removed : host::clearDeadSession())
      faults["left"] += " " + removed;
  }

  /// What went wrong, as "client ended", "reader hangs", "not back", and for whom.
  std::map<std::string, std::string> faults;

 private:
  static constexpr char cNoLine[] = "\x01";

  void noteEnd(const std::string& who, const std::string& name, int status) {
    if (status == 0) return;
    const bool hangs = status == Process::cStillRunning;
    faults[who + (hangs ? " hangs" : " ended")] += " " + name + ":" + std::to_string(status);
  }

  std::map<std::string, std::unique_ptr<Process>> mProcesses;
};

}  // namespace faults
