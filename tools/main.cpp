#include <exception>

#include <fmt/core.h>

#include "lipc/session/SessionNames.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"

int main(int argc, char** argv) {
  CLI::App app(
      "Runs a reference session host, shows the session that is alive on this machine, and lists "
      "the speaker layouts.",
      "lipc");
  app.require_subcommand(0, 1);  // none is an error too, but not before an unknown word is
  app.set_version_flag("--version",
                       fmt::format("lipc {}, protocol {}", LIPC_VERSION, LIPC::cProtocolVersion));
  app.failure_message(CLI::FailureMessage::help);
  int status = tools::eExitOK;
  tools::addHostCommand(app, status);
  tools::addLsCommand(app, status);
  tools::addShowCommand(app, status);
  tools::addLayoutsCommand(app, status);
  try {
    app.parse(argc, argv);
    if (app.get_subcommands().empty()) throw CLI::RequiredError("A subcommand");
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? tools::eExitOK : tools::eExitUsage;
  } catch (const std::exception& error) {
    fmt::print(stderr, "lipc: {}\n", error.what());
    return tools::eExitFailure;
  }
  return status;
}
