// SPDX-License-Identifier: BSL-1.0
#include "tools/ProgressLine.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fmt/core.h>

#include "inspect/SessionWatch.h"
#include "tools/StopRequest.h"
#include "tools/Terminal.h"
#include "tools/Text.h"

namespace tools {
namespace {

constexpr std::size_t cLineColumns = 79;

bool canBeRewritten(int file) {
  const char* const terminal = std::getenv("TERM");
  return isTerminal(file) && terminal != nullptr && std::string_view(terminal) != "dumb";
}

}  // namespace

ProgressLine::ProgressLine(int file) : mFile(file), mIsShown(canBeRewritten(file)) {}

void ProgressLine::show(std::string_view text) {
  if (!mIsShown) return;
  dprintf(mFile, "\r\x1b[K%s", cut(printable(text), cLineColumns).c_str());
  mIsClear = false;
}

void ProgressLine::clear() {
  if (!mIsClear) dprintf(mFile, "\r\x1b[K");
  mIsClear = true;
}

std::function<bool(double)> watchProgress(ProgressLine& line) {
  return [&line](double part) {
    const double seconds = std::chrono::duration<double>(inspect::cFullWatch).count();
    line.show(fmt::format("watching the session: {:.0f} s left", seconds * (1 - part)));
    return !isStopRequested();
  };
}

}  // namespace tools
