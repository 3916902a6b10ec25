#include "tests/faults/Session.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <nlohmann/json.hpp>
#include <sys/ipc.h>
#include <sys/shm.h>

#include "lipc/session/shmKey.h"

namespace faults {
namespace {

using nlohmann::json;
using support::Process;
using Steady = std::chrono::steady_clock;

constexpr char cNoLine[] = "\x01";

/// deliberate: a process killed while it makes or removes a named semaphore leaves its file.
bool isSemaphore(const std::string& file) {
  return file.rfind("sem.", 0) == 0;
}

std::string takeLeftovers() {
  std::string left;
  for (const auto& file : std::filesystem::directory_iterator("/tmp")) {
    const std::string name = file.path().filename().string();
    if (name.rfind("LIPC_", 0) != 0) continue;
    const int id = shmget(LIPC::existingShmKey(name.substr(5).c_str()), 0, 0);
    if (id < 0) continue;
    left += " " + name;
    shmctl(id, IPC_RMID, nullptr);
  }
  for (const auto& file : std::filesystem::directory_iterator("/dev/shm")) {
    const std::string name = file.path().filename().string();
    if (!isSemaphore(name)) left += " " + name;
    std::filesystem::remove(file.path());
  }
  return left;
}

}  // namespace

Process& Session::start(const std::string& name, const Program& program, const std::string& line) {
  auto& process = mProcesses[name] = std::make_unique<Process>(program);
  if (!line.empty() && !process->waitForLine(line, 20s)) faults["not started"] += " " + name;
  return *process;
}

std::set<std::string> Session::read() {
  std::set<std::string> seen;
  for (const Program& command :
       {Program{LIPC_COMMAND, "ls", "--json"}, Program{LIPC_COMMAND, "show", "a", "--json"}}) {
    Process reader(command);
    reader.waitForLine(cNoLine, 5s);
    const int status = reader.wait(100ms);
    const bool hasNothingToShow = status == 5 || status == 6;
    if (!hasNothingToShow) noteEnd("reader", command[1], status);
    const json shown = json::parse(reader.output(), nullptr, false);
    if (!shown.is_object()) continue;
    for (const json& client : shown.value("clients", json::array()))
      seen.insert(client.value("id", ""));
    const json connections = shown.value("connections", json());
    for (const json& connection : connections)
      seen.insert(connection.value("source", "") + ">" + connection.value("target", ""));
  }
  return seen;
}

void Session::waitFor(const std::set<std::string>& wanted) {
  const auto deadline = Steady::now() + 30s;
  for (std::string missing = "?"; !missing.empty();) {
    const std::set<std::string> seen = read();
    missing.clear();
    for (const std::string& name : wanted)
      if (seen.count(name) == 0) missing += " " + name;
    bool isHopeless = Steady::now() > deadline;
    for (auto& [name, process] : mProcesses) {
      process->waitForLine(cNoLine, 2ms);  // lest it waits for a reader
      isHopeless |= !process->isRunning() && process->wait(0ms) != 0;
    }
    if (missing.empty() || !isHopeless) continue;
    faults["not back"] = missing;
    return;
  }
}

void Session::noteEnd(const std::string& who, const std::string& name, int status) {
  if (status == 0) return;
  const bool hangs = status == Process::cStillRunning;
  faults[who + (hangs ? " hangs" : " ended")] += " " + name + ":" + std::to_string(status);
}

void Session::end(const std::string& name) {
  Process& process = *mProcesses.at(name);
  const bool isHost = name == "host";
  isHost ? process.signal(SIGTERM) : process.closeInput();
  process.waitForLine(cNoLine, 15s);
  noteEnd(isHost ? "host" : "client", name, process.wait(500ms));
}

void Session::end() {
  for (auto& [name, process] : mProcesses)
    if (name != "host") process->closeInput();
  for (auto& [name, process] : mProcesses)
    if (name != "host") end(name);
  if (mProcesses.count("host") != 0) end("host");
  mProcesses.clear();
  if (const std::string left = takeLeftovers(); !left.empty()) faults["left"] = left;
}

int numberFrom(const char* variable, int fallback) {
  const char* text = std::getenv(variable);
  return text != nullptr ? std::atoi(text) : fallback;
}

std::mt19937 seededRandom() {
  const int seed = numberFrom("LIPC_SEED", 1);
  std::printf("LIPC_SEED=%d\n", seed);
  return std::mt19937(static_cast<std::mt19937::result_type>(seed));
}

}  // namespace faults
