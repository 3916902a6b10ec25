// SPDX-License-Identifier: BSL-1.0
#include "tools/WakeUp.h"

#include <cerrno>
#include <iterator>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace tools {

WakeUp::WakeUp() {
  if (pipe(mEnds) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  for (const int end : mEnds) {
    fcntl(end, F_SETFD, FD_CLOEXEC);
    fcntl(end, F_SETFL, O_NONBLOCK);
  }
}

WakeUp::~WakeUp() {
  for (const int end : mEnds)
    close(end);
}

void WakeUp::wake() const noexcept {
  const int before = errno;
  // A full pipe wakes as well.
  [[maybe_unused]] const ssize_t written = write(mEnds[1], "", 1);
  errno = before;
}

void WakeUp::sleepFor(std::chrono::milliseconds most, int output) const {
  pollfd wakes[] = {{mEnds[0], POLLIN, 0}, {output, 0, 0}};
  if (poll(wakes, std::size(wakes), static_cast<int>(most.count())) <= 0) return;
  char taken[64];
  while (read(mEnds[0], taken, sizeof taken) > 0) {
  }
}

}  // namespace tools
