// SPDX-License-Identifier: BSL-1.0
#include "bridges/jack/AnswerWatch.h"

#include <chrono>
#include <thread>

#include "lipc/realtime/BlockExchange.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/SessionNames.h"

namespace jack_bridge {

using LIPC::BlockExchange;

struct AnswerWatch::Ring {
  explicit Ring(const std::string& id)
      : buffer(id.c_str()),
        segment((id + LIPC::cReturnSuffix).c_str()),
        ring(segment.get(), segment.mappedBytes()) {
    // The audio thread meets no page fault.
    buffer.populate();
    segment.populate();
  }

  LIPC::ShmManagedOpen<LIPC::ClientBuffer> buffer;
  LIPC::ShmManagedOpen<LIPC::SHMSlices> segment;
  LIPC::MappedRing ring;
  unsigned blocksSoFar = 0;  // of the thread that trades
};

AnswerWatch::AnswerWatch() = default;

AnswerWatch::~AnswerWatch() {
  detach();
}

void AnswerWatch::attach(const std::string& id) {
  detach();
  mRing = std::make_unique<Ring>(id);
  mOpen = mRing.get();
}

void AnswerWatch::detach() {
  mOpen = nullptr;
  while (mIsLooking)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  mRing.reset();
}

bool AnswerWatch::hasRoom() noexcept {
  mIsLooking = true;
  const Ring* const open = mOpen;
  const bool isFull = open != nullptr && open->buffer.get() != nullptr &&
                      open->buffer->newDataQueue.size() >= LIPC::ValueQueue::cSlotCount - 1;
  if (isFull) ++mLate;
  mIsLooking = false;
  return !isFull;
}

void AnswerWatch::look(long long stamp, unsigned frames) noexcept {
  mIsLooking = true;
  if (Ring* const open = mOpen; open != nullptr) {
    if (open->blocksSoFar < BlockExchange::cLatencyBlocks) {
      ++open->blocksSoFar;
    } else {
      const long long wanted =
          stamp - static_cast<long long>(BlockExchange::cLatencyBlocks) * frames;
      const LIPC::SHMSliceBuffer* const slot = open->ring.find(wanted);
      if (slot == nullptr) {
        ++mMissing;
      } else if (LIPC::loadAcquire(slot->ready) == 0) {
        ++mLate;
      }
    }
  }
  mIsLooking = false;
}

}  // namespace jack_bridge
