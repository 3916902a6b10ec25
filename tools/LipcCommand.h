// SPDX-License-Identifier: BSL-1.0
#pragma once

namespace tools {

/// The whole of lipc: runs the subcommand that the words say and returns the exit status.
int runLipc(int argc, char** argv);

}  // namespace tools
