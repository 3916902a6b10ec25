// SPDX-License-Identifier: BSL-1.0
#include <iostream>
#include <sstream>

#include <CLI/CLI.hpp>

#include "bridges/ClientIDCheck.h"
#include "bridges/jack/Bridge.h"
#include "tools/CommandName.h"
#include "tools/ExitStatus.h"
#include "tools/Guarded.h"
#include "tools/Output.h"
#include "tools/StopRequest.h"

namespace {

constexpr int cMostChannels = 256;

std::string isType(const std::string& type) {
  return type.size() == 4 ? "" : "a type has four characters";
}

void describe(CLI::App& app, jack_bridge::BridgeOptions& options) {
  app.add_option("--in", options.inputs, "Ports to_session_1 and so on: channels into the session")
      ->check(CLI::Range(0, cMostChannels))
      ->capture_default_str();
  app.add_option("--out", options.outputs,
                 "Ports from_session_1 and so on: channels out of the session")
      ->check(CLI::Range(0, cMostChannels))
      ->capture_default_str();
  app.add_option("--id", options.id, "ID of this client; in JACK it is lipc-ID")
      ->check(bridges::whyNoID)
      ->capture_default_str();
  app.add_option("--name", options.name, "Its name, for people")->capture_default_str();
  app.add_option("--type", options.type, "Its four-character type")
      ->check(isType)
      ->capture_default_str();
  app.add_option("--connect", options.connect,
                 "Connect with the client of this ID, channel by channel, in both directions. Any "
                 "number of times")
      ->allow_extra_args(false)
      ->type_name("ID");
  app.add_option("--connect-type", options.connectType,
                 "The same with the clients of this type that are there at the join, or with the "
                 "one of them that the host names")
      ->check(isType)
      ->allow_extra_args(false)
      ->type_name("TYPE");
  app.add_option("--jack-server", options.server,
                 "Name of the JACK server; otherwise JACK_DEFAULT_SERVER, or default")
      ->type_name("NAME");
  app.add_option("--autoconnect", "Connect in JACK: physical, the ports of the sound card in turn")
      ->check(CLI::IsMember({"physical"}))
      ->each([&](const std::string&) { options.autoconnectPhysical = true; });
  app.add_option("--clock", options.clock,
                 "Follow the clock of this client; otherwise the session's first bridge gives it")
      ->check(bridges::whyNoID)
      ->type_name("ID");
  app.add_flag("--status", options.status, "Print a line each second");
  app.footer(
      "Example, of a tone at a sound card:\n  lipc host &\n  lipc jack --autoconnect physical &\n  "
      "tone --to jack\n\n"
      "The man page is lipc-jack(1), docs/lipc-jack.md.");
}

int run(CLI::App& app, int argc, char** argv) {
  jack_bridge::BridgeOptions options;
  describe(app, options);
  try {
    app.parse(argc, argv);
    if (options.inputs + options.outputs == 0)
      throw CLI::ValidationError("--in and --out", "a bridge has at least one channel");
    if (options.clock == options.id)
      throw CLI::ValidationError("--clock", "that is this client's own ID");
    for (const std::string& id : options.connect) {
      if (id == options.id) throw CLI::ValidationError("--connect", "that is this client's own ID");
    }
  } catch (const CLI::ParseError& error) {
    std::ostringstream help;
    const int status = app.exit(error, help, std::cerr) == 0 ? tools::eExitOK : tools::eExitUsage;
    tools::print(help.str());
    return status;
  }
  tools::catchStopRequests();
  jack_bridge::Bridge(options).run();
  return tools::eExitOK;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "Is a client of the session and of a JACK server at the same time: sound cards, "
      "workstations, "
      "other machines' audio.",
      "lipc jack");
  app.failure_message(CLI::FailureMessage::help);
  return tools::guarded([&] { return run(app, argc, argv); });
}
