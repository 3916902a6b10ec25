// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <unistd.h>

#include "examples/BlockClock.h"

namespace examples {

inline std::atomic<bool> sStop{false};
inline std::atomic<int> sPrintError{0};  // the system's, for the first print that failed
inline std::string sFolder;              // of the program as it was called, with a slash, or empty

/// The command `lipc`, to be pasted: the one that was built beside the examples, or that of PATH.
inline std::string lipcCommand() {
  const std::string beside = sFolder + "../tools/lipc";
  return access(beside.c_str(), X_OK) == 0 ? beside : "lipc";
}

/// Prints at once, as printf does. When that fails the program ends in order: see `end`. Threads:
/// any.
[[gnu::format(printf, 1, 2)]] inline void say(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  int none = 0;
  if (std::vprintf(format, arguments) < 0 || std::fflush(stdout) != 0) {
    sPrintError.compare_exchange_strong(none, errno);
    sStop = true;
  }
  va_end(arguments);
}

/// What every example begins with: reads the command line, and ends the program on a wrong one
/// (status 2) or after a request for help. From then on lines are printed at once, and Ctrl-C, a
/// kill and a print that fails set `sStop`, so that the program leaves the session in order.
inline void begin(CLI::App& app, int argc, char** argv) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::exit(app.exit(error) == 0 ? 0 : 2);
  }
  const std::string called = argv[0];
  sFolder = called.substr(0, called.rfind('/') + 1);
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  for (const int signal : {SIGINT, SIGTERM})
    std::signal(signal, [](int) { sStop = true; });
  std::signal(SIGPIPE, SIG_IGN);
}

/// What every example ends with: the exit status, after a sentence if a print failed. A reader that
/// closed its end of a pipe has seen enough.
inline int end(const char* program, bool hasJoined) {
  if (sPrintError == 0 || sPrintError == EPIPE) return hasJoined ? 0 : 1;
  std::fprintf(stderr, "%s: standard output cannot be written: %s\n", program,
               std::generic_category().message(sPrintError).c_str());
  return 1;
}

/// The option of all examples that says whose clock counts.
inline void addClockTo(CLI::App& app, std::string& clock) {
  app.add_option("--clock", clock,
                 "Follow the clock of this client; otherwise the session's first bridge to a sound "
                 "card gives it, or else the machine does")
      ->type_name("ID");
}

/// How an example plays: options that most of them share.
struct Timing {
  int blockSize = 256;  // samples
  double speed = 1.0;
  double seconds = 0.0;
  std::string clock;

  void addTo(CLI::App& app) {
    app.add_option("--block", blockSize, "Samples per block")
        ->check(CLI::Range(3, 1024))
        ->capture_default_str();
    app.add_option("--speed", speed, "1 is real time, 0 as fast as it goes")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    app.add_option("--seconds", seconds, "Seconds of audio; 0 is until Ctrl-C")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    addClockTo(app, clock);
  }
  BlockClock makeClock() const { return BlockClock(blockSize, speed, clock, sStop); }
  /// Whether the n-th block, from 0, is still to be played.
  bool goesOnTo(long long n, int sampleRate) const {
    const double end = seconds * sampleRate;
    return !sStop && (seconds <= 0 || static_cast<double>(n * blockSize) < end);
  }
};

/// A buffer for each channel, and what processLIPC wants of them.
struct Buffers {
  Buffers(int channels, int blockSize)
      : samples(static_cast<std::size_t>(channels),
                std::vector<float>(static_cast<std::size_t>(blockSize))) {
    for (std::vector<float>& channel : samples)
      pointers.push_back(channel.data());
  }

  std::vector<std::vector<float>> samples;
  std::vector<float*> pointers;
};

}  // namespace examples
