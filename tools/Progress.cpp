#include "tools/Progress.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <utility>

#include <unistd.h>

namespace tools {
namespace {

std::atomic<bool> sIsEnded{false};

void end(int) {
  sIsEnded = true;
}

}  // namespace

Progress::Progress(std::string what)
    : mWhat(std::move(what)), mIsShown(isatty(STDERR_FILENO) != 0) {
  sIsEnded = false;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    std::signal(signal, end);
}

Progress::~Progress() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    std::signal(signal, SIG_DFL);
  if (mIsShown) std::fputs("\r\x1b[K", stderr);
}

bool Progress::operator()(double part) {
  if (mIsShown) {
    constexpr int cWidth = 30;
    const int done = static_cast<int>(std::clamp(part, 0.0, 1.0) * cWidth);
    std::fprintf(stderr, "\r%s  %.*s%.*s", mWhat.c_str(), done, "##############################",
                 cWidth - done, "..............................");
    std::fflush(stderr);
  }
  return !sIsEnded;
}

}  // namespace tools
