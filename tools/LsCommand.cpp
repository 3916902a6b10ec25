// SPDX-License-Identifier: BSL-1.0
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/Commands.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Reading.h"
#include "tools/Text.h"

namespace tools {
namespace {

struct LsOptions {
  std::string from;
  bool asJson = false;
  bool idsOnly = false;
};

void listIDs(inspect::Source& source) {
  std::string ids;
  for (const inspect::ClientPicture& client :
       readOrFail(source, {.withConnections = false}).clients)
    ids += printable(client.id) + "\n";
  print(ids);
}

void list(const LsOptions& options) {
  const auto source = openSource(options.from);
  if (options.idsOnly) {
    listIDs(*source);
    return;
  }
  const inspect::SessionPicture session = readOrFail(
      *source,
      {.watchHeartbeatMS = cWatchHeartbeatMS, .withConnections = false, .withSettings = true});
  print(options.asJson ? dump(sessionJson(session), 2) + "\n"
                       : sessionText(session, Style::ofOutput()));
}

}  // namespace

void addLsCommand(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand(
      "ls",
      "Show the session: its host, its clients and the processes that made them. Reads only.");
  const auto options = std::make_shared<LsOptions>();
  CLI::Option* json = command->add_flag("--json", options->asJson, "Print one JSON object");
  command->add_flag("--ids", options->idsOnly, "Print the clients' IDs alone, one a line")
      ->excludes(json);
  addFromOption(*command, options->from);
  command->footer(
      "Mode: i inputs, o outputs, n no audio comes back, x exclusive.\n"
      "Example:\n  lipc ls --json");
  command->callback([options] { list(*options); });
}

}  // namespace tools
