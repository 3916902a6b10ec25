// SPDX-License-Identifier: BSL-1.0
#include "lipc/realtime/ValueQueue.h"

#include <cstdio>

#include "lipc/util/SharedWord.h"

namespace LIPC {
namespace {

std::uint32_t slotOf(std::int32_t index) noexcept {
  return static_cast<std::uint32_t>(index) % ValueQueue::cSlotCount;
}

std::int32_t following(std::uint32_t slot) noexcept {
  return static_cast<std::int32_t>((slot + 1) % ValueQueue::cSlotCount);
}

/// deliberate: written on the audio thread, to standard output. A client whose queue is full has
/// lost its host, and its block is silent already.
void reportOverrun() noexcept LIPC_NONBLOCKING {
  const DeliberateSystemCall printing;
  LIPC_UNCHECKED_BEGIN
  std::puts("\n!!! SHMQueue overrun !!!");
  LIPC_UNCHECKED_END
}

}  // namespace

void ValueQueue::reset() {
  queueRead = 0;
  queueWrite = 0;
}

bool ValueQueue::put(std::int64_t value) noexcept {
  const std::uint32_t slot = slotOf(queueWrite);
  const std::int32_t next = following(slot);
  if (slotOf(loadAcquire(queueRead)) == slotOf(next)) {
    reportOverrun();
    return false;
  }
  queue[slot] = value;
  storeRelease(queueWrite, next);
  return true;
}

bool ValueQueue::take(std::int64_t& value) noexcept {
  const std::uint32_t slot = slotOf(queueRead);
  if (slotOf(loadAcquire(queueWrite)) == slot) return false;
  value = queue[slot];
  storeRelease(queueRead, following(slot));
  return true;
}

std::uint32_t ValueQueue::size() const noexcept {
  return (slotOf(loadAcquire(queueWrite)) - slotOf(loadAcquire(queueRead))) % cSlotCount;
}

}  // namespace LIPC
