#include <memory>

#include <nlohmann/json.hpp>

#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Reading.h"

namespace tools {

void addLsCommand(CLI::App& app, int& status) {
  CLI::App* command = app.add_subcommand(
      "ls", "Show the session: its host and its clients. Reads only; nothing is touched.");
  const auto asJson = std::make_shared<bool>(false);
  command->add_flag("--json", *asJson, "Print one JSON object");
  command->callback([asJson, &status] {
    const auto session = readOrExplain(status);
    if (!session) return;
    if (*asJson) {
      print(dump(sessionJson(*session), 2) + "\n");
    } else {
      print(sessionText(*session));
    }
  });
}

}  // namespace tools
