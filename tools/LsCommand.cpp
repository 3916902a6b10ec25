#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/Commands.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Reading.h"

namespace tools {
namespace {

struct LsOptions {
  std::string from;
  bool asJson = false;
};

void list(const LsOptions& options) {
  const auto source = openSource(options.from);
  const inspect::SessionPicture session =
      readOrFail(*source, {.watchHeartbeatMS = cWatchHeartbeatMS, .withSettings = true});
  print(options.asJson ? dump(sessionJson(session), 2) + "\n" : sessionText(session));
}

}  // namespace

void addLsCommand(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand("ls", "Show the session: its host and its clients.");
  const auto options = std::make_shared<LsOptions>();
  command->add_flag("--json", options->asJson, "Print one JSON object");
  addFromOption(*command, options->from);
  command->callback([options] { list(*options); });
}

}  // namespace tools
