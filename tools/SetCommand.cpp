// SPDX-License-Identifier: BSL-1.0
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "lipc/util/SharedWord.h"
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

/// What a client takes over of what others write into its row: all but these parameters.
constexpr unsigned cFirstNotTaken = 8;
constexpr unsigned cLastNotTaken = 31;
/// Raw bits, the client's type, and the bit that says that it has joined.
constexpr unsigned cLibrarysOwn[] = {3, 5, 6};

struct SetOptions {
  std::string id;
  std::string what;
  std::string value;
  bool yes = false;
  bool asJson = false;
};

float numberOrFail(const std::string& text) {
  char* end = nullptr;
  const float number = std::strtof(text.c_str(), &end);
  const bool isWhole = !text.empty() && std::isspace(static_cast<unsigned char>(text[0])) == 0 &&
                       end == text.c_str() + text.size();
  if (isWhole && std::isfinite(number)) return number;
  throw Failure(eExitNoValue,
                "\"{}\" is no number that a parameter can have. Write one such as 3 or -2.5.",
                printable(text));
}

bool isTakenOver(unsigned parameter) {
  return parameter < cFirstNotTaken || parameter > cLastNotTaken;
}

std::string noteOn(unsigned parameter) {
  if (!isTakenOver(parameter)) {
    return "The client itself does not take over what others write into the parameters 8 to 31: "
           "who reads its row sees the value, until the client publishes its own again. ";
  }
  for (const unsigned own : cLibrarysOwn)
    if (parameter == own) return "The library itself uses this one. ";
  return {};
}

void set(const SetOptions& options) {
  const auto source = inspect::openMachine();
  const auto session = readOrFail(*source, {.withConnections = false});
  const inspect::ClientPicture& client = clientOrFail(session, options.id);
  const ValuePlace place = placeOrFail(options.what, client);
  if (place.isText) {
    throw Failure(eExitNoValue, "\"{}\" is a string of {}. Set it with: lipc string {} {} TEXT",
                  printable(options.what), printable(client.id), printable(client.id),
                  placeText(place));
  }
  const float value = numberOrFail(options.value);
  const std::string name = valueName(client.type, place);
  const std::string change =
      fmt::format("{} {}{}: {} -> {}", printable(client.id), placeText(place),
                  name.empty() ? "" : " (" + name + ")", numberText(client.parameters[place.index]),
                  numberText(value));
  askOrFail(change + ". " + noteOn(place.index) + "Do it?", options.yes);

  ForeignRow row(client.id);
  row.set(place.index, value);
  row.requireThatItStays(change, [&](const LIPC::ClientEntry& entry) {
    return areSame(LIPC::loadRelaxed(entry.offlineParameters[place.index]), value);
  });
  if (!options.asJson) {
    const std::string note = noteOn(place.index);
    return print(change + "\n" + (note.empty() ? note : note.substr(0, note.size() - 1) + "\n"));
  }
  nlohmann::ordered_json json = {{"format", "lipc-set"}, {"version", 1},
                                 {"id", client.id},      {"parameter", place.index},
                                 {"name", nullptr},      {"before", client.parameters[place.index]},
                                 {"after", value},       {"takenOver", isTakenOver(place.index)}};
  if (!name.empty()) json["name"] = name;
  print(dump(json, 2) + "\n");
}

}  // namespace

void addSetCommand(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand("set", "Set an offline parameter of a client.");
  const auto options = std::make_shared<SetOptions>();
  command->add_option("ID", options->id, "The client's ID")->required()->type_name("ID");
  command->add_option("WHAT", options->what, "The parameter: its number, or its name")->required();
  command->add_option("VALUE", options->value, "The number that it is to have")->required();
  command->add_flag("-y,--yes", options->yes, "Do it without a question");
  command->add_flag("--json", options->asJson, "Print one JSON object");
  command->footer("Example:\n  lipc set VexoSettings SoloMode 1");
  command->callback([options] { set(*options); });
}

}  // namespace tools
