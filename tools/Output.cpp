// SPDX-License-Identifier: BSL-1.0
#include "tools/Output.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "lipc/util/SystemError.h"

namespace tools {
namespace {

void write(std::FILE* file, std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), file) == text.size() && std::fflush(file) == 0)
    return;
  throw OutputError(errno);
}

}  // namespace

OutputError::OutputError(int error)
    : std::runtime_error(std::string("Standard output cannot be written: ") +
                         LIPC::systemErrorText(error) + ". Look at where it goes to."),
      // A print is only interrupted by the signal that ends the command.
      mIsWorthSaying(error != EPIPE && error != EINTR) {}

void print(std::string_view text) {
  write(stdout, text);
}

Output::Output() : mFile(fdopen(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1), "w")) {
  if (mFile == nullptr) throw std::runtime_error("Standard output is closed.");
  // A caller that closed standard error gets the libraries' words nowhere.
  if (fcntl(STDERR_FILENO, F_GETFD) < 0) dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
  dup2(STDERR_FILENO, STDOUT_FILENO);
}

Output::~Output() {
  std::fflush(stdout);
  dup2(fileno(mFile), STDOUT_FILENO);
  std::fclose(mFile);
}

void Output::print(const std::string& text) {
  if (mHasFailed) return;
  try {
    write(mFile, text + "\n");
  } catch (const OutputError& error) {
    mHasFailed = true;
    if (error.isWorthSaying()) mFailure = error.what();
  }
}

bool Output::isOver() const {
  pollfd reader{descriptor(), POLLHUP, 0};
  return mHasFailed || (poll(&reader, 1, 0) > 0 && (reader.revents & (POLLERR | POLLHUP)) != 0);
}

}  // namespace tools
