#pragma once

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <sys/shm.h>

#include "lipc/session/shmKey.h"
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
  Process& operator[](const std::string& name) { return *mProcesses.at(name); }

  /// What `lipc ls` and `lipc show a` see: the IDs of the clients, and "a>b" for a connection of a
  /// to b. A reader that fails or takes 5 s is a fault.
  std::set<std::string> read() {
    std::set<std::string> seen;
    for (const Program& command :
         {Program{LIPC_COMMAND, "ls", "--json"}, Program{LIPC_COMMAND, "show", "a", "--json"}}) {
      Process reader(command);
      reader.waitForLine(cNoLine, 5s);
      const int status = reader.wait(100ms);
      const bool hasNothingToShow = status == 5 || status == 6;
      if (!hasNothingToShow) noteEnd("reader", command[1], status);
      using nlohmann::json;
      const json shown = json::parse(reader.output(), nullptr, false);
      if (!shown.is_object()) continue;
      for (const json& client : shown.value("clients", json()))
        seen.insert(client.value("id", ""));
      for (const json& connection : shown.value("connections", json()))
        seen.insert(connection.value("source", "") + ">" + connection.value("target", ""));
    }
    return seen;
  }

  /// Reads until all of these are there; a fault when that takes 30 s or a process has failed.
  void waitFor(const std::set<std::string>& wanted) {
    bool isHopeless = false;
    for (const auto deadline = std::chrono::steady_clock::now() + 30s;;) {
      std::string missing;
      const std::set<std::string> seen = read();
      for (const std::string& name : wanted)
        if (seen.count(name) == 0) missing += " " + name;
      if (missing.empty()) return;
      if (isHopeless) faults["not back"] = missing;
      if (isHopeless) return;
      isHopeless = std::chrono::steady_clock::now() > deadline;
      for (auto& [name, process] : mProcesses) {
        process->waitForLine(cNoLine, 2ms);  // lest it waits for a reader
        isHopeless |= !process->isRunning() && process->wait(0ms) != 0;
      }
    }
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
  void end() {
    for (auto& [name, process] : mProcesses)
      if (name != "host") process->closeInput();
    for (auto& [name, process] : mProcesses)
      if (name != "host") end(name);
    end("host");
    mProcesses.clear();
    if (const std::string left = takeLeftovers(); !left.empty()) faults["left"] = left;
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

  /// deliberate: named semaphores are not looked for. Who is killed while he makes or removes one
  /// leaves its file.
  static std::string takeLeftovers() {
    std::string left;
    for (const char* folder : {"/tmp", "/dev/shm"}) {
      for (const auto& file : std::filesystem::directory_iterator(folder)) {
        const std::string name = file.path().filename().string();
        if (name.rfind("LIPC_", 0) != 0) continue;
        const bool isKeyFile = folder[1] == 't';
        const int id = isKeyFile ? shmget(LIPC::existingShmKey(name.substr(5).c_str()), 0, 0) : -1;
        if (id >= 0 || !isKeyFile) left += " " + name;
        if (id >= 0) shmctl(id, IPC_RMID, nullptr);
        if (!isKeyFile) std::filesystem::remove(file.path());
      }
    }
    return left;
  }

  std::map<std::string, std::unique_ptr<Process>> mProcesses;
};

/// A source of chance for LIPC_SEED, or for 1; prints which.
inline std::mt19937 seededRandom() {
  const int seed = numberFrom("LIPC_SEED", 1);
  std::printf("LIPC_SEED=%d\n", seed);
  return std::mt19937(static_cast<std::mt19937::result_type>(seed));
}

}  // namespace faults
