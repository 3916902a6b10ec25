#include "tools/StopRequest.h"

#include <atomic>
#include <csignal>

namespace tools {
namespace {

std::atomic<bool> sIsRequested{false};

void request(int) {
  sIsRequested = true;
}

}  // namespace

void catchStopRequests() {
  struct sigaction action {};  // without SA_RESTART: a print that nobody reads ends too
  action.sa_handler = request;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    sigaction(signal, &action, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
}

bool isStopRequested() {
  return sIsRequested;
}

}  // namespace tools
