// SPDX-License-Identifier: BSL-1.0
#include "inspect/ChildRead.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <exception>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "lipc/util/SystemError.h"

namespace inspect {
namespace {

using Clock = std::chrono::steady_clock;

bool writeAll(int file, const void* bytes, std::size_t count) {
  const char* next = static_cast<const char*>(bytes);
  while (count > 0) {
    const ssize_t written = write(file, next, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    next += written;
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

/// What the child sends: whether `read` returned, and then its text or the exception's.
[[noreturn]] void answer(int file, const std::function<std::string()>& read,
                         std::chrono::milliseconds deadline) {
  // What the parent does on a signal, or leaves undone, is not the child's affair.
  for (const int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGTERM, SIGINT, SIGALRM})
    std::signal(signal, SIG_DFL);
  // Where the parent ends before it has ended this process.
  alarm(static_cast<unsigned>(std::chrono::ceil<std::chrono::seconds>(deadline).count()) + 1);
  std::string text;
  char isRead = 1;
  try {
    text = read();
  } catch (const std::exception& error) {
    isRead = 0;
    text = error.what();
  }
  const std::uint64_t bytes = text.size();
  const bool isSent = writeAll(file, &isRead, 1) && writeAll(file, &bytes, sizeof bytes) &&
                      writeAll(file, text.data(), text.size());
  _exit(isSent ? 0 : 1);
}

/// Everything that comes until the other end is closed or the time is over; whether it was closed.
bool receive(int file, Clock::time_point deadline, std::string& all) {
  char part[65536];
  for (;;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) return false;
    pollfd poller{file, POLLIN, 0};
    const int ready = poll(&poller, 1, static_cast<int>(left));
    if (ready < 0 && errno != EINTR) return true;
    if (ready <= 0) continue;
    const ssize_t count = read(file, part, sizeof part);
    if (count == 0) return true;
    if (count > 0) all.append(part, static_cast<std::size_t>(count));
    if (count < 0 && errno != EINTR) return true;
  }
}

void end(pid_t child) {
  kill(child, SIGKILL);
  while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace

std::optional<std::string> readInChild(const std::function<std::string()>& read,
                                       std::chrono::milliseconds deadline, std::string& why) {
  constexpr std::size_t cHead = 1 + sizeof(std::uint64_t);
  int ends[2];
  if (pipe(ends) != 0) {
    why = std::string("no pipe can be made: ") + LIPC::systemErrorText(errno);
    return std::nullopt;
  }
  for (const int file : ends)
    fcntl(file, F_SETFD, FD_CLOEXEC);
  const pid_t child = fork();
  if (child < 0) {
    why = std::string("no process can be made: ") + LIPC::systemErrorText(errno);
    close(ends[0]);
    close(ends[1]);
    return std::nullopt;
  }
  if (child == 0) {
    close(ends[0]);
    answer(ends[1], read, deadline);
  }
  close(ends[1]);
  std::string all;
  const bool isInTime = receive(ends[0], Clock::now() + deadline, all);
  close(ends[0]);
  end(child);

  std::uint64_t bytes = 0;
  if (all.size() >= cHead) std::memcpy(&bytes, all.data() + 1, sizeof bytes);
  if (all.size() < cHead || bytes != all.size() - cHead) {
    why = isInTime ? "the process that read it died of what it found"
                   : "the process that read it was not done within " +
                         std::to_string(deadline.count()) + " ms";
    return std::nullopt;
  }
  const bool isRead = all[0] == 1;
  all.erase(0, cHead);
  if (isRead) return all;
  why = all;
  return std::nullopt;
}

}  // namespace inspect
