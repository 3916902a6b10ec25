// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace bench {

/// The other side of an exchange, as a process of its own on a core of its choice.
///
///   echo   the host of the client: sleeps on the session's notice, takes the client's queue,
///   copies
///          the block from the "-send" into the "-return" ring, sets `ready`
///   hand   the same for HandWritten: sleeps on its semaphore, copies, stamps
///   pong   the same, and posts a second semaphore for each block
///
/// Before it sleeps it looks for `look`, so that a block that comes soon wakes nobody.
struct PeerOptions {
  std::string kind;
  int core = 0;
  std::chrono::microseconds look{0};
  unsigned channels = 0;  // hand, pong
  int samples = 0;        // hand, pong
};

/// Starts this program once more as a peer; the end of the object is the end of the process.
///
/// A peer is asked to end and woken, never killed in its sleep: a semaphore keeps counting a waiter
/// that was killed, and from then on each post of it is a system call.
class Peer {
 public:
  /// `wake` posts the semaphore on which it sleeps.
  Peer(const PeerOptions& options, std::function<void()> wake);
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  /// The path with which this program was started.
  static std::string msProgram;
  /// The whole life of a peer process, from its arguments on.
  static int run(const std::vector<std::string>& arguments);

 private:
  std::function<void()> mWake;
  pid_t mProcess = -1;
};

}  // namespace bench
