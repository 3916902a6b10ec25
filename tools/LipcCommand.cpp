// SPDX-License-Identifier: BSL-1.0
#include "tools/LipcCommand.h"

#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include <fmt/core.h>

#include "lipc/session/SessionNames.h"
#include "tools/CommandName.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Guarded.h"
#include "tools/Output.h"

namespace tools {
namespace {

/// Says what a positional is called, and its type only where that says more.
class HelpFormatter final : public CLI::Formatter {
 public:
  std::string make_option_opts(const CLI::Option* option) const override {
    std::string text = CLI::Formatter::make_option_opts(option);
    if (!option->get_positional()) return text;
    for (const std::string& said : {" " + option->get_name(true), std::string(" TEXT")})
      if (text.starts_with(said)) text.erase(0, said.size());
    return text;
  }
};

/// Runs the chosen subcommand, or prints what was asked for instead.
void parse(CLI::App& app, int argc, char** argv, int& status) {
  try {
    app.parse(argc, argv);
    if (app.get_subcommands().empty()) throw CLI::RequiredError("A subcommand");
  } catch (const CLI::ParseError& error) {
    std::ostringstream help;
    status = app.exit(error, help, std::cerr) == 0 ? eExitOK : eExitUsage;
    print(help.str());
  }
}

}  // namespace

int runLipc(int argc, char** argv) {
  if (argc > 0) setCommandName(argv[0]);
  CLI::App app(
      "Shows the session that is alive on this machine, follows it, finds what is wrong with it, "
      "mends it; certifies processor libraries; runs a reference host.",
      "lipc");
  app.formatter(std::make_shared<HelpFormatter>());
  app.require_subcommand(0, 1);  // none is an error too, but not before an unknown word is
  app.set_version_flag("--version",
                       fmt::format("lipc {}, protocol {}", LIPC_VERSION, LIPC::cProtocolVersion));
  app.failure_message(CLI::FailureMessage::help);
  app.footer(
      "Example, of a session and a look at it:\n  lipc host &\n  lipc ls\n\n"
      "Exit status: 0 it worked, 1 something unexpected, 2 the command line, 5 no session, 6 no "
      "such "
      "client, 13 something is wrong; the man page lipc(1), docs/lipc.md, has all of them.\n"
      "Each subcommand has a page: lipc-ls(1), docs/lipc-ls.md. What to do about each sentence: "
      "docs/errors.md.");
  int status = eExitOK;
  addLsCommand(app, status);
  addShowCommand(app, status);
  addWatchCommand(app, status);
  addTopCommand(app, status);
  addGraphCommand(app, status);
  addServeCommand(app, status);
  addGetCommand(app, status);
  addSetCommand(app, status);
  addStringCommand(app, status);
  addConnectCommand(app, status);
  addDisconnectCommand(app, status);
  addKickCommand(app, status);
  addDoctorCommand(app, status);
  addReapCommand(app, status);
  addSnapshotCommand(app, status);
  addValidateCommand(app, status);
  addHostCommand(app, status);
  addLayoutsCommand(app, status);
  addJackCommand(app, status);
  addMqttCommand(app, status);
  addCompletionCommand(app, status);
  return guarded([&] {
    parse(app, argc, argv, status);
    return status;
  });
}

}  // namespace tools
