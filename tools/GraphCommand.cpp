// SPDX-License-Identifier: BSL-1.0
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Reading.h"
#include "tools/Text.h"
#include "tools/WholeFile.h"
#include "tools/graph/GraphDrawing.h"
#include "tools/graph/SessionGraph.h"

namespace tools {
namespace {

using inspect::SessionPicture;
using json = nlohmann::ordered_json;

struct GraphCommandOptions {
  std::string format;
  std::string output;
  std::string from;
  bool asJson = false;
  GraphOptions graph;
};

json graphJson(const SessionPicture& session) {
  json result = {{"format", "lipc-graph"}, {"version", 1}};
  const json both = sessionJson(session);
  result["host"] = both["host"];
  result["clients"] = both["clients"];
  result["connections"] = nullptr;
  if (!session.connections) return result;
  result["connections"] = json::array();
  for (const LIPC::Connection& connection : *session.connections)
    result["connections"].push_back(connectionJson(connection));
  return result;
}

/// As asked for, else as the file is called, else DOT.
std::string formatOf(const GraphCommandOptions& options) {
  if (options.asJson) return "json";
  if (!options.format.empty()) return options.format;
  for (const char* format : {"svg", "json"})
    if (options.output.ends_with(std::string(".") + format)) return format;
  return "dot";
}

void graph(const GraphCommandOptions& options, int& status) {
  const auto source = openSource(options.from);
  const SessionPicture session =
      readOrFail(*source, {.watchHeartbeatMS = cWatchHeartbeatMS, .withSettings = true});
  const std::string format = formatOf(options);
  const std::string text = format == "svg"    ? graphSvg(session, options.graph)
                           : format == "json" ? dump(graphJson(session), 2) + "\n"
                                              : graphDot(session, options.graph);
  if (options.output.empty()) {
    print(text);
  } else {
    writeWhole(options.output, text);
  }
  if (session.connections) return;
  complain("the connections cannot be read: {}. The graph is drawn without them.",
           printable(session.poolError));
  status = eExitDamaged;
}

}  // namespace

void addGraphCommand(CLI::App& app, int& status) {
  CLI::App* command = app.add_subcommand(
      "graph", "Draw the session: its clients and connections as SVG, DOT or JSON. Reads only.");
  const auto options = std::make_shared<GraphCommandOptions>();
  command
      ->add_option("--format", options->format,
                   "dot, svg or json. Without it as the file is called, else dot")
      ->type_name("FORMAT")
      ->check(CLI::IsMember({"dot", "svg", "json"}));
  command->add_flag("--json", options->asJson, "Short for --format json")->excludes("--format");
  command->add_option("-o,--output", options->output, "Write to this file, whole or not at all")
      ->type_name("FILE");
  command->add_flag("--wires", options->graph.withWires,
                    "Draw each wire from channel to channel (svg), or name it (dot)");
  addFromOption(*command, options->from);
  command->footer("Example:\n  lipc graph --wires -o session.svg");
  command->callback([options, &status] { graph(*options, status); });
}

}  // namespace tools
