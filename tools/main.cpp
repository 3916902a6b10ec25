#include <exception>

#include <fmt/core.h>

#include "tools/Commands.h"
#include "tools/ExitStatus.h"

int main(int argc, char** argv) {
  CLI::App app(
      "Runs a reference session host, shows the session that is alive on this machine, and lists "
      "the speaker layouts.",
      "lipc");
  app.require_subcommand(1);
  app.failure_message(CLI::FailureMessage::help);
  int status = tools::eExitOK;
  tools::addHostCommand(app, status);
  tools::addLsCommand(app, status);
  tools::addShowCommand(app, status);
  tools::addLayoutsCommand(app, status);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? tools::eExitOK : tools::eExitUsage;
  } catch (const std::exception& error) {
    fmt::print(stderr, "lipc: {}\n", error.what());
    return tools::eExitFailure;
  }
  return status;
}
