// SPDX-License-Identifier: BSL-1.0
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/Commands.h"
#include "tools/Failure.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Reading.h"
#include "tools/Text.h"

namespace tools {
namespace {

struct ShowOptions {
  std::string id;
  std::string from;
  bool asJson = false;
  bool withDefaults = false;
};

void show(const ShowOptions& options) {
  const auto source = openSource(options.from);
  const inspect::SessionPicture session = readOrFail(
      *source, {.watchHeartbeatMS = cWatchHeartbeatMS, .withRings = true, .withSettings = true});
  const inspect::ClientPicture& client = clientOrFail(session, options.id);
  print(options.asJson ? dump(clientJson(session, client), 2) + "\n"
                       : clientText(session, client, options.withDefaults, Style::ofOutput()));
  if (!session.connections)
    throw Failure(eExitDamaged,
                  "the connections cannot be read: {}. The host makes a damaged pool anew by "
                  "itself, if it lives; see with: lipc doctor",
                  printable(session.poolError));
}

}  // namespace

void addShowCommand(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand(
      "show",
      "Show one client: its values, connections, rings, segments and semaphores. Reads only.");
  const auto options = std::make_shared<ShowOptions>();
  command->add_option("ID", options->id, "The client's ID")->required()->type_name("ID");
  addFromOption(*command, options->from);
  command->add_flag("--json", options->asJson, "Print one JSON object");
  command->add_flag("--all", options->withDefaults,
                    "Also list the parameters and strings that are at their defaults");
  command->footer("Example:\n  lipc show VexoSettings --all");
  command->callback([options] { show(*options); });
}

}  // namespace tools
