// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

#include <sched.h>

/// What all benchmarks measure with.
namespace bench {

using Clock = std::chrono::steady_clock;

inline double nanoseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::nano>(duration).count();
}

/// 0 for no values.
inline double median(std::vector<double> values) {
  if (values.empty()) return 0.0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// What reading the clock twice takes, to be subtracted from a single timed call.
inline double clockCost() {
  std::vector<double> costs(2001);
  for (double& cost : costs) {
    const auto start = Clock::now();
    cost = nanoseconds(Clock::now() - start);
  }
  return median(costs);
}

/// Spins for one look.
inline void relax() {
#ifdef __x86_64__
  __builtin_ia32_pause();
#endif
}

inline void spinFor(std::chrono::microseconds duration) {
  const auto end = Clock::now() + duration;
  while (Clock::now() < end)
    relax();
}

/// The two cores that the benchmarks use: the first and the last that this process may run on.
struct Cores {
  int client = 0;
  int other = 0;
  static Cores find();
};

/// Binds the calling thread to a core; false where the system cannot.
bool pinTo(int core);

/// Binds the calling thread to a core for its lifetime.
class Pinned {
 public:
  explicit Pinned(int core);
  ~Pinned();
  Pinned(const Pinned&) = delete;
  Pinned& operator=(const Pinned&) = delete;

 private:
#ifdef CPU_SET
  cpu_set_t mBefore{};
#endif
};

}  // namespace bench
