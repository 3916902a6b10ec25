// SPDX-License-Identifier: BSL-1.0
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include <fmt/core.h>
#include <unistd.h>

#include "lipc/util/SystemError.h"
#include "lipc/util/platform/SelfPlatform.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Output.h"

namespace tools {
namespace {

namespace fs = std::filesystem;

/// Where a bridge's program may be: beside this one, as installed, or where the build puts it.
fs::path programOf(const std::string& bridge) {
  const fs::path own = fs::path(LIPC::platform::executablePath()).parent_path();
  const std::string file = "lipc-" + bridge;
  for (const fs::path& path : {own / file, own / ".." / "bridges" / bridge / file}) {
    if (access(path.c_str(), X_OK) == 0) return path.lexically_normal();
  }
  return {};
}

/// Becomes the bridge; returns only where that fails.
int run(const std::string& bridge, const char* library, std::vector<std::string> arguments) {
  const fs::path program = programOf(bridge);
  if (program.empty()) {
    complain(
        "lipc {0} is a program of its own, lipc-{0}, and is not installed here. It is built "
        "where {1} is there, and is in the package lipc-bridges.",
        bridge, library);
    return eExitFailure;
  }
  arguments.insert(arguments.begin(), program);
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments)
    argv.push_back(argument.data());
  argv.push_back(nullptr);
  execv(program.c_str(), argv.data());
  complain("{} cannot be started: {}", program.string(), LIPC::systemErrorText(errno));
  return eExitFailure;
}

/// A bridge has a command line of its own, its help included.
void addBridge(CLI::App& app, int& status, const std::string& name, const char* library,
               const char* description) {
  CLI::App* const command = app.add_subcommand(name, description);
  command->set_help_flag();
  command->prefix_command();
  command->callback(
      [command, &status, name, library] { status = run(name, library, command->remaining()); });
}

}  // namespace

void addJackCommand(CLI::App& app, int& status) {
  addBridge(app, status, "jack", "libjack",
            "Be a client of a JACK server too: sound cards, workstations, other machines' audio");
}

void addMqttCommand(CLI::App& app, int& status) {
  addBridge(app, status, "mqtt", "libmosquitto",
            "Publish the session on an MQTT broker, and mirror clients of other machines");
}

}  // namespace tools
