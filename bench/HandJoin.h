// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "bench/HandWritten.h"

namespace bench {

/// What no join can do without, by hand: the session's segments and semaphores opened, the client's
/// own made, all of it mapped with its pages. Nothing is asked, searched or written besides.
///
/// The constructor is the work; the end removes and unlinks what it made.
class HandJoin {
 public:
  static constexpr char cName[] = "BenchJoinByHand";

  /// Throws std::runtime_error when a segment or semaphore cannot be had.
  explicit HandJoin(unsigned channels);
  ~HandJoin();
  HandJoin(const HandJoin&) = delete;
  HandJoin& operator=(const HandJoin&) = delete;

 private:
  struct Segment {
    int id;
    void* address;
    bool isOwn;
  };

  void attach(const std::string& name, std::size_t bytes, bool isOwn);

  std::vector<Segment> mSegments;
  std::vector<std::unique_ptr<BareSemaphore>> mSemaphores;
};

}  // namespace bench
