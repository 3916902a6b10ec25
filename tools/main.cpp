#include <exception>
#include <iostream>
#include <sstream>

#include <fmt/core.h>

#include "lipc/session/SessionNames.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Failure.h"
#include "tools/Output.h"

namespace {

/// Runs the chosen subcommand, or prints what was asked for instead.
void parse(CLI::App& app, int argc, char** argv, int& status) {
  try {
    app.parse(argc, argv);
    if (app.get_subcommands().empty()) throw CLI::RequiredError("A subcommand");
  } catch (const CLI::ParseError& error) {
    std::ostringstream help;
    status = app.exit(error, help, std::cerr) == 0 ? tools::eExitOK : tools::eExitUsage;
    tools::print(help.str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "Shows the session that is alive on this machine, follows it, finds what is wrong with it, "
      "mends it; certifies processor libraries; runs a reference host.",
      "lipc");
  app.require_subcommand(0, 1);  // none is an error too, but not before an unknown word is
  app.set_version_flag("--version",
                       fmt::format("lipc {}, protocol {}", LIPC_VERSION, LIPC::cProtocolVersion));
  app.failure_message(CLI::FailureMessage::help);
  int status = tools::eExitOK;
  tools::addLsCommand(app, status);
  tools::addShowCommand(app, status);
  tools::addWatchCommand(app, status);
  tools::addTopCommand(app, status);
  tools::addGraphCommand(app, status);
  tools::addServeCommand(app, status);
  tools::addGetCommand(app, status);
  tools::addSetCommand(app, status);
  tools::addStringCommand(app, status);
  tools::addConnectCommand(app, status);
  tools::addDisconnectCommand(app, status);
  tools::addKickCommand(app, status);
  tools::addDoctorCommand(app, status);
  tools::addReapCommand(app, status);
  tools::addSnapshotCommand(app, status);
  tools::addValidateCommand(app, status);
  tools::addHostCommand(app, status);
  tools::addLayoutsCommand(app, status);
  tools::addCompletionCommand(app, status);
  try {
    parse(app, argc, argv, status);
  } catch (const tools::OutputError& error) {
    if (error.isWorthSaying()) tools::complain("{}", error.what());
    return tools::eExitFailure;
  } catch (const tools::Failure& failure) {
    tools::complain("{}", failure.what());
    return failure.status();
  } catch (const std::exception& error) {
    tools::complain("{}", error.what());
    return tools::eExitFailure;
  }
  return status;
}
