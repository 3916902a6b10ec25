// SPDX-License-Identifier: BSL-1.0
#include <memory>
#include <string>

#include "inspect/SessionWatch.h"
#include "inspect/Snapshot.h"
#include "tools/Commands.h"
#include "tools/Failure.h"
#include "tools/Output.h"
#include "tools/ProgressLine.h"
#include "tools/Reading.h"
#include "tools/StopRequest.h"
#include "tools/Text.h"
#include "tools/WholeFile.h"

namespace tools {
namespace {

struct SnapshotOptions {
  std::string file;
  bool isQuick = false;
};

void snapshot(const SnapshotOptions& options) {
  const auto source = inspect::openMachine();
  std::optional<std::string> bytes;
  {
    catchStopRequests();
    ProgressLine line;
    const auto duration = options.isQuick ? std::chrono::milliseconds(0) : inspect::cFullWatch;
    bytes = inspect::takeSnapshot(*source, duration, watchProgress(line));
  }
  if (!bytes) throw Failure(eExitFailure, "interrupted; no snapshot was written");
  if (options.file == "-") {
    print(*bytes);
    return;
  }
  writeWhole(options.file, *bytes);
  complain("wrote {} bytes to {}. Look at it with: lipc doctor --from {}", bytes->size(),
           printable(options.file), printable(options.file));
}

}  // namespace

void addSnapshotCommand(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand(
      "snapshot",
      "Write the whole session and what this machine says of it into one file, for a report. Reads "
      "only. Every reading subcommand shows such a file with --from FILE.");
  const auto options = std::make_shared<SnapshotOptions>();
  command->add_option("FILE", options->file, "Where to write; - for standard output")
      ->required()
      ->type_name("FILE");
  command->add_flag("--quick", options->isQuick,
                    "Do not watch the session for five seconds first; then nobody can be judged "
                    "dead");
  command->footer("Example:\n  lipc snapshot wedged.lipc && lipc doctor --from wedged.lipc");
  command->callback([options] { snapshot(*options); });
}

}  // namespace tools
