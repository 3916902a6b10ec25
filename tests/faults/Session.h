#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/support/Process.h"

namespace faults {

using namespace std::chrono_literals;
using Program = std::vector<std::string>;

/// A session of processes: a host and participants by name. Collects what goes wrong for them.
class Session {
 public:
  /// Starts a program and waits for a line of it, if one is named.
  support::Process& start(const std::string& name, const Program& program,
                          const std::string& line = {});
  support::Process& operator[](const std::string& name) { return *mProcesses.at(name); }

  /// Reads the session as `lipc ls` and `lipc show a` see it. Returns the IDs of the clients, and
  /// "a>b" for a connection of a to b. A reader that fails or takes 5 s is a fault.
  std::set<std::string> read();
  /// Reads until all of these are there; a fault when that takes 30 s or a process has ended.
  void waitFor(const std::set<std::string>& wanted);
  /// Ends one process. An end that is none in order, or takes 15 s, is a fault.
  void end(const std::string& name);
  /// Ends all, the host last, and takes away what is left, which is a fault too.
  void end();

  /// What went wrong, as "client ended", "reader hangs", "not back", and for whom.
  std::map<std::string, std::string> faults;

 private:
  void noteEnd(const std::string& who, const std::string& name, int status);

  std::map<std::string, std::unique_ptr<support::Process>> mProcesses;
};

/// A source of chance for LIPC_SEED, or for 1; prints which.
std::mt19937 seededRandom();
/// The whole number in an environment variable, or `fallback`.
int numberFrom(const char* variable, int fallback);

}  // namespace faults
