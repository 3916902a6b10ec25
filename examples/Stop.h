#pragma once

#include <atomic>
#include <csignal>

namespace examples {

inline std::atomic<bool> sStop{false};

/// From now on Ctrl-C and a kill set `sStop`, so that the program leaves the session in order.
inline void stopOnSignals() {
  for (const int signal : {SIGINT, SIGTERM})
    std::signal(signal, [](int) { sStop = true; });
}

}  // namespace examples
