// SPDX-License-Identifier: BSL-1.0
#include <memory>
#include <string>

#include "tools/Commands.h"
#include "tools/Output.h"
#include "tools/completion/Completion.h"

namespace tools {

void addCompletionCommand(CLI::App& app, int&) {
  CLI::App* command = app.add_subcommand(
      "completion", "Print the script by which a shell completes lipc. Needs no session.");
  const auto shell = std::make_shared<std::string>();
  command->add_option("SHELL", *shell, "The shell that is to load it")
      ->required()
      ->type_name("SHELL")
      ->check(CLI::IsMember({"bash", "zsh", "fish"}));
  command->footer("Example:\n  source <(lipc completion bash)");
  command->callback([&app, shell] {
    const CompletedCommand whole = completedCommand(app);
    print(*shell == "bash"  ? bashCompletion(whole)
          : *shell == "zsh" ? zshCompletion(whole)
                            : fishCompletion(whole));
  });
}

}  // namespace tools
