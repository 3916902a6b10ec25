// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "lipc/util/RealTime.h"

namespace LIPC {

/// A ring of 64 values that one process writes and another reads: the client's audio path announces
/// the time stamps of its published blocks through it. Empty when both indices are equal; one slot
/// always stays unused, so at most 63 values wait.
///
/// Threads: one writer (`put`), one reader (`take`); neither blocks. An index that another process
/// spoilt is taken modulo 64, so no access leaves the ring.
struct ValueQueue {
  static constexpr std::uint32_t cSlotCount = 64;

  /// Empties the queue; no other process may use it yet.
  void reset();
  /// Appends `value`. On a full queue prints "\n!!! SHMQueue overrun !!!" and a line feed to
  /// standard output, drops the value and returns false. The caller posts the semaphore that wakes
  /// the reader after a true.
  bool put(std::int64_t value) noexcept LIPC_NONBLOCKING;
  /// Takes the oldest value; false when there is none.
  bool take(std::int64_t& value) noexcept LIPC_NONBLOCKING;
  /// Values that wait, 0 to 63.
  std::uint32_t size() const noexcept LIPC_NONBLOCKING;

  //                                   offset  size  written by
  std::int32_t queueRead;          //       0     4  the reader (host)
  std::int32_t queueWrite;         //       4     4  the writer (client)
  std::int64_t queue[cSlotCount];  //       8   512  the writer; samples
};

static_assert(sizeof(ValueQueue) == 520);
static_assert(offsetof(ValueQueue, queueRead) == 0);
static_assert(offsetof(ValueQueue, queueWrite) == 4);
static_assert(offsetof(ValueQueue, queue) == 8);
static_assert(std::is_standard_layout_v<ValueQueue>);

}  // namespace LIPC
