#include <algorithm>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Reading.h"
#include "tools/Text.h"

namespace tools {
namespace {

struct ShowOptions {
  std::string id;
  bool asJson = false;
};

void show(const ShowOptions& options, int& status) {
  const auto session = readOrExplain(status);
  if (!session) return;
  const auto client =
      std::find_if(session->clients.begin(), session->clients.end(), [&](const auto& candidate) {
        return LIPC::ClientID(candidate.id) == LIPC::ClientID(options.id);
      });
  if (client == session->clients.end()) {
    complain("no client of the session has the ID \"{}\". See who is there with: lipc ls",
             printable(options.id));
    status = eExitNoClient;
  } else if (options.asJson) {
    print(dump(clientJson(*session, *client), 2) + "\n");
  } else {
    print(clientText(*session, *client));
  }
}

}  // namespace

void addShowCommand(CLI::App& app, int& status) {
  CLI::App* command = app.add_subcommand(
      "show", "Show one client: its row, parameters, strings and connections. Reads only.");
  const auto options = std::make_shared<ShowOptions>();
  command->add_option("id", options->id, "The client's ID")->required();
  command->add_flag("--json", options->asJson, "Print one JSON object");
  command->callback([options, &status] { show(*options, status); });
}

}  // namespace tools
