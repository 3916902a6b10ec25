// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <CLI/CLI.hpp>

/// The subcommands of lipc, one file each. `add...` describes the command line to `app`; the
/// command runs when it was chosen and stores its exit status in `status`.
namespace tools {

void addCompletionCommand(CLI::App& app, int& status);
void addConnectCommand(CLI::App& app, int& status);
void addDisconnectCommand(CLI::App& app, int& status);
void addDoctorCommand(CLI::App& app, int& status);
void addGetCommand(CLI::App& app, int& status);
void addGraphCommand(CLI::App& app, int& status);
void addHostCommand(CLI::App& app, int& status);
void addJackCommand(CLI::App& app, int& status);
void addKickCommand(CLI::App& app, int& status);
void addLayoutsCommand(CLI::App& app, int& status);
void addLsCommand(CLI::App& app, int& status);
void addMqttCommand(CLI::App& app, int& status);
void addReapCommand(CLI::App& app, int& status);
void addServeCommand(CLI::App& app, int& status);
void addSetCommand(CLI::App& app, int& status);
void addShowCommand(CLI::App& app, int& status);
void addSnapshotCommand(CLI::App& app, int& status);
void addStringCommand(CLI::App& app, int& status);
void addTopCommand(CLI::App& app, int& status);
void addValidateCommand(CLI::App& app, int& status);
void addWatchCommand(CLI::App& app, int& status);

}  // namespace tools
