// SPDX-License-Identifier: BSL-1.0
#pragma once

namespace tools {

/// From here on SIGINT, SIGTERM and SIGHUP only make a request, so that a command can leave a
/// session in order, but for a SIGHUP that is ignored already (nohup), and a reader that closes its
/// end of a pipe ends no process. For good: a second signal ends nothing either, since what remains
/// to be done has a deadline of its own.
void catchStopRequests();
bool isStopRequested();

}  // namespace tools
