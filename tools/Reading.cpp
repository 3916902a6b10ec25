#include "tools/Reading.h"

#include "tools/ExitStatus.h"
#include "tools/Output.h"

namespace tools {
namespace {

/// Three beats of a living host.
constexpr int cWatchMS = 300;

}  // namespace

std::optional<host::SessionPicture> readOrExplain(int& status) {
  auto session = host::readSession(cWatchMS);
  if (!session) {
    complain("there is no session on this machine. Start a host, for example: lipc host");
    status = eExitNoSession;
  }
  return session;
}

}  // namespace tools
