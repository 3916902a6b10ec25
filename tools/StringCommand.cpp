// SPDX-License-Identifier: BSL-1.0
#include <memory>
#include <string>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "tools/Commands.h"
#include "tools/Consent.h"
#include "tools/Failure.h"
#include "tools/ForeignRow.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Reading.h"
#include "tools/Text.h"
#include "tools/Value.h"

namespace tools {
namespace {

struct StringOptions {
  std::string id;
  std::string slot;
  std::string text;
  bool yes = false;
  bool asJson = false;
};

/// A slot of 128 bytes whose text ends with a NUL. Any other byte counts: readers show control
/// characters escaped, and so does the question.
void requireFits(const std::string& text) {
  if (text.size() <= ForeignRow::cTextBytes) return;
  throw Failure(eExitNoValue, "the text has {} bytes, and a string has room for {}. Shorten it.",
                text.size(), ForeignRow::cTextBytes);
}

void setString(const StringOptions& options) {
  const auto source = inspect::openMachine();
  const auto session = readOrFail(*source, {.withConnections = false});
  const inspect::ClientPicture& client = clientOrFail(session, options.id);
  const ValuePlace place = placeOrFail(options.slot, client, true);
  if (!place.isText) {
    throw Failure(eExitNoValue, "\"{}\" is a parameter of {}. Set it with: lipc set {} {} VALUE",
                  printable(options.slot), printable(client.id), printable(client.id),
                  placeText(place));
  }
  requireFits(options.text);
  const std::string name = valueName(client.type, place);
  const std::string& before = client.strings[place.index];
  const std::string change = fmt::format("{} {}{}: \"{}\" -> \"{}\"", printable(client.id),
                                         placeText(place), name.empty() ? "" : " (" + name + ")",
                                         printable(before), printable(options.text));
  askOrFail(change + ". Do it?", options.yes);

  ForeignRow row(client.id);
  row.put(place.index, options.text);
  row.requireThatItStays(change, [&](const LIPC::ClientEntry& entry) {
    return entry.strings[place.index].current() == options.text;
  });
  if (!options.asJson) return print(change + "\n");
  nlohmann::ordered_json json = {{"format", "lipc-string"}, {"version", 1},    {"id", client.id},
                                 {"string", place.index},   {"name", nullptr}, {"before", before},
                                 {"after", options.text}};
  if (!name.empty()) json["name"] = name;
  print(dump(json, 2) + "\n");
}

}  // namespace

void addStringCommand(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand("string", "Set a string of a client.");
  const auto options = std::make_shared<StringOptions>();
  command->add_option("ID", options->id, "The client's ID")->required()->type_name("ID");
  command->add_option("SLOT", options->slot, "The string: its slot, 0 to 9, or its name")
      ->required();
  command->add_option("TEXT", options->text, "The text that it is to have, at most 127 bytes")
      ->required();
  command->add_flag("-y,--yes", options->yes, "Do it without a question");
  command->add_flag("--json", options->asJson, "Print one JSON object");
  command->footer("Example:\n  lipc string VexoSettings Facility \"Stage B\"");
  command->callback([options] { setString(*options); });
}

}  // namespace tools
