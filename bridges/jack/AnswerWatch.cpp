// SPDX-License-Identifier: BSL-1.0
#include "bridges/jack/AnswerWatch.h"

#include <chrono>
#include <thread>

#include "lipc/realtime/BlockExchange.h"
#include "lipc/session/SessionNames.h"

namespace jack_bridge {

using LIPC::BlockExchange;

struct AnswerWatch::Ring {
  explicit Ring(const std::string& id)
      : segment((id + LIPC::cReturnSuffix).c_str()), ring(segment.get(), segment.mappedBytes()) {}

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
