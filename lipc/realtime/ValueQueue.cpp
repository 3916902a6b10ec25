#include "lipc/realtime/ValueQueue.h"

#include <cstdio>

#include "lipc/util/SharedWord.h"

namespace LIPC {
namespace {

std::uint32_t slotOf(std::int32_t index) {
  return static_cast<std::uint32_t>(index) % ValueQueue::cSlotCount;
}

std::int32_t following(std::uint32_t slot) {
  return static_cast<std::int32_t>((slot + 1) % ValueQueue::cSlotCount);
}

}  // namespace

void ValueQueue::reset() {
  queueRead = 0;
  queueWrite = 0;
}

bool ValueQueue::put(std::int64_t value) {
  const std::uint32_t slot = slotOf(queueWrite);
  const std::int32_t next = following(slot);
  if (slotOf(loadAcquire(queueRead)) == slotOf(next)) {
    std::puts("\n!!! SHMQueue overrun !!!");
    return false;
  }
  queue[slot] = value;
  storeRelease(queueWrite, next);
  return true;
}

bool ValueQueue::take(std::int64_t& value) {
  const std::uint32_t slot = slotOf(queueRead);
  if (slotOf(loadAcquire(queueWrite)) == slot) return false;
  value = queue[slot];
  storeRelease(queueRead, following(slot));
  return true;
}

}  // namespace LIPC
