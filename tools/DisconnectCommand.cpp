// SPDX-License-Identifier: BSL-1.0
#include <memory>
#include <string>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "tools/Commands.h"
#include "tools/Consent.h"
#include "tools/Failure.h"
#include "tools/Output.h"
#include "tools/PassingClient.h"
#include "tools/Picture.h"
#include "tools/Reading.h"
#include "tools/Routing.h"
#include "tools/Text.h"

namespace tools {
namespace {

using LIPC::Connection;

struct DisconnectOptions {
  std::string source;
  std::string target;
  bool yes = false;
  bool asJson = false;
};

/// A connection counts also when one of its ends is not in the session: it may come back.
Connection connectedOrFail(const inspect::SessionPicture& session,
                           const DisconnectOptions& options) {
  const auto listed = connectionOrFail(session, options.source, options.target);
  if (!listed) {
    clientOrFail(session, options.source);
    clientOrFail(session, options.target);
  }
  if (!listed || listed->disconnectRequested != 0) {
    throw Failure(eExitNoConnection,
                  "{} -> {} is {}, so that there is nothing to cut. See what is connected with: "
                  "lipc graph",
                  printable(options.source), printable(options.target), routingText(listed));
  }
  return *listed;
}

void disconnect(const DisconnectOptions& options) {
  const auto source = inspect::openMachine();
  const auto session = readOrFail(*source, {});
  const Connection before = connectedOrFail(session, options);
  Connection wanted = before;  // with its wires, so that it can come back with them
  wanted.disconnectRequested = 1;
  const std::string change = fmt::format("{}: {} -> cut", endsText(before), routingText(before));
  askOrFail(change + ". Do it?", options.yes);

  Output output;
  { const PassingClient client("lipc disconnect", wanted, *source); }
  const auto after = listedConnection(*source, wanted.source, wanted.target);
  if (after && after->disconnectRequested == 0) {
    throw Failure(eExitNotDone,
                  "the session had cut {}, but it is connected again: the client that wants it has "
                  "published it anew.",
                  endsText(wanted));
  }
  if (!options.asJson) return output.print(change);
  output.print(dump({{"format", "lipc-disconnect"},
                     {"version", 1},
                     {"source", wanted.source.text()},
                     {"target", wanted.target.text()},
                     {"before", routingJson(before)},
                     {"after", routingJson(after)}},
                    2));
}

}  // namespace

void addDisconnectCommand(CLI::App& app, int&) {
  CLI::App* command =
      app.add_subcommand("disconnect", "Cut the connection of one client to another.");
  const auto options = std::make_shared<DisconnectOptions>();
  command->add_option("SOURCE", options->source, "ID of the client that sends")
      ->required()
      ->type_name("ID");
  command->add_option("TARGET", options->target, "ID of the client that receives")
      ->required()
      ->type_name("ID");
  command->add_flag("-y,--yes", options->yes, "Do it without a question");
  command->add_flag("--json", options->asJson, "Print one JSON object");
  command->footer("Example:\n  lipc disconnect tone meter");
  command->callback([options] { disconnect(*options); });
}

}  // namespace tools
