// SPDX-License-Identifier: BSL-1.0
#include "tools/Consent.h"

#include <cstdio>

#include <unistd.h>

#include "tools/Failure.h"

namespace tools {

void askOrFail(const std::string& question, bool yes) {
  if (yes) return;
  if (isatty(STDIN_FILENO) == 0) {
    throw Failure(
        eExitRefused,
        "nothing was changed: standard input is no terminal, so that nobody can be asked. "
        "Add --yes to do it without a question.");
  }
  std::fprintf(stderr, "%s [y/N] ", question.c_str());
  std::fflush(stderr);
  char answer = '\0';
  // One character counts, the rest of its line goes too.
  for (int next = std::getchar(); next != EOF && next != '\n'; next = std::getchar())
    if (answer == '\0') answer = static_cast<char>(next);
  if (answer != 'y' && answer != 'Y')
    throw Failure(eExitRefused, "nothing was changed, as you answered.");
}

}  // namespace tools
