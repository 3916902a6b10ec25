// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "inspect/Picture.h"

/// How the subcommands that only read come to a session. Each failure is thrown (Failure.h).
namespace tools {

/// Three beats of a living host.
inline constexpr int cWatchHeartbeatMS = 300;

/// Adds `--from FILE`, which stores a snapshot's path.
void addFromOption(CLI::App& command, std::string& path);
/// The snapshot at `from`, or this machine where that is empty.
std::unique_ptr<inspect::Source> openSource(const std::string& from);
/// Throws where the session could not be read.
void failUnlessRead(const inspect::SessionPicture& session, bool isLive);
/// A session that could be read.
inspect::SessionPicture readOrFail(inspect::Source& source, const inspect::ReadOptions& options);
const inspect::ClientPicture& clientOrFail(const inspect::SessionPicture& session,
                                           const std::string& id);

}  // namespace tools
