#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/Commands.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Reading.h"

namespace tools {
namespace {

struct ShowOptions {
  std::string id;
  std::string from;
  bool asJson = false;
};

void show(const ShowOptions& options) {
  const auto source = openSource(options.from);
  const inspect::SessionPicture session = readOrFail(
      *source, {.watchHeartbeatMS = cWatchHeartbeatMS, .withRings = true, .withSettings = true});
  const inspect::ClientPicture& client = clientOrFail(session, options.id);
  print(options.asJson ? dump(clientJson(session, client), 2) + "\n" : clientText(session, client));
}

}  // namespace

void addShowCommand(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand(
      "show", "Show one client: its row, parameters, strings and connections. Reads only.");
  const auto options = std::make_shared<ShowOptions>();
  command->add_option("id", options->id, "The client's ID")->required();
  addFromOption(*command, options->from);
  command->add_flag("--json", options->asJson, "Print one JSON object");
  command->callback([options] { show(*options); });
}

}  // namespace tools
