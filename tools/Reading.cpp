#include "tools/Reading.h"

#include <fmt/core.h>

#include "tools/ExitStatus.h"

namespace tools {
namespace {

/// Three beats of a living host.
constexpr int cWatchMS = 300;

}  // namespace

std::optional<host::SessionPicture> readOrExplain(int& status) {
  auto session = host::readSession(cWatchMS);
  if (!session) {
    fmt::print(stderr,
               "lipc: there is no session on this machine. Start a host, for example: lipc host\n");
    status = eExitNoSession;
  }
  return session;
}

}  // namespace tools
