// SPDX-License-Identifier: BSL-1.0
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/Commands.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Reading.h"
#include "tools/Text.h"
#include "tools/Value.h"

namespace tools {
namespace {

struct GetOptions {
  std::string id;
  std::string what;
  std::string from;
  bool asJson = false;
};

void get(const GetOptions& options) {
  const auto source = openSource(options.from);
  const inspect::SessionPicture session = readOrFail(*source, {.withConnections = false});
  const inspect::ClientPicture& client = clientOrFail(session, options.id);
  const ClientValue value = valueAt(client, placeOrFail(options.what, client));
  if (options.asJson) {
    nlohmann::ordered_json json = {{"format", "lipc-get"}, {"version", 1}, {"id", client.id}};
    json.update(valueJson(value));
    print(dump(json, 2) + "\n");
  } else {
    print((value.place.isText ? printable(value.text) : numberText(value.number)) + "\n");
  }
}

}  // namespace

void addGetCommand(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand(
      "get", "Print one offline parameter or string of a client, by number or by name.");
  const auto options = std::make_shared<GetOptions>();
  command->add_option("ID", options->id, "The client's ID")->required()->type_name("ID");
  command
      ->add_option("WHAT", options->what,
                   "p12 or 12: a parameter; s3: a string; or a name out of lipc show")
      ->required();
  addFromOption(*command, options->from);
  command->add_flag("--json", options->asJson, "Print one JSON object");
  command->footer(
      "Examples:\n  lipc get VexoSettings p41\n  lipc get VexoSettings PhysMonConfig --json");
  command->callback([options] { get(*options); });
}

}  // namespace tools
