// SPDX-License-Identifier: BSL-1.0
#include "tools/StopRequest.h"

#include <atomic>
#include <csignal>
#include <initializer_list>

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
  for (const int signal : {SIGINT, SIGTERM})
    sigaction(signal, &action, nullptr);
  struct sigaction before {};
  sigaction(SIGHUP, nullptr, &before);
  if (before.sa_handler != SIG_IGN) sigaction(SIGHUP, &action, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
}

bool isStopRequested() {
  return sIsRequested;
}

}  // namespace tools
