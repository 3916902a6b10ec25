// SPDX-License-Identifier: BSL-1.0
#include "bridges/jack/SessionClocks.h"

#include <cstdlib>

#include <fmt/core.h>

#include "lipc/session/SessionBuffer.h"
#include "lipc/util/SharedWord.h"

namespace jack_bridge {
namespace {

using namespace std::chrono_literals;

constexpr std::string_view cPrefix = "clock ";
constexpr auto cStandsStill = 250ms;

/// The rate in a clock's text, 0 where it is none.
int rateOf(const std::string& text) {
  if (!text.starts_with(cPrefix)) return 0;
  const long rate = std::strtol(text.c_str() + cPrefix.size(), nullptr, 10);
  return rate > 0 && rate < 10'000'000 ? static_cast<int>(rate) : 0;
}

ClockGiver giverOf(const LIPC::ClientEntry& entry, int row) {
  ClockGiver giver;
  giver.id = LIPC::ClientID(entry.id).text();
  giver.row = row;
  giver.text = std::string(entry.strings[cClockString].current());
  giver.rate = rateOf(giver.text);
  return giver;
}

std::optional<ForeignBlock> newestOf(const LIPC::SHMSlices* ring) {
  if (ring == nullptr) return std::nullopt;
  const LIPC::SHMSliceBuffer& slice = ring->slices[ring->currentIndex()];
  const ForeignBlock block{LIPC::loadAcquire(slice.timeStamp),
                           LIPC::loadRelaxed(slice.sampleCount)};
  if (block.frames < 3 || block.frames > LIPC::SHMChannel::cSampleCount) return std::nullopt;
  return block;
}

}  // namespace

std::string clockText(int rate, const std::string& server) {
  return fmt::format("{}{} Hz, JACK {}", cPrefix, rate, server);
}

std::string followsText(const std::string& id) {
  return "follows " + id;
}

std::vector<ClockGiver> clockGivers() {
  std::vector<ClockGiver> givers;
  const LIPC::ShmReadOnly<LIPC::SessionBuffer> session(LIPC::cSessionSegment);
  for (int row = 0; session.get() != nullptr && row < LIPC::cMaxClients; ++row) {
    const LIPC::ClientEntry& entry = session->entries[row];
    if (entry.isFree()) continue;
    ClockGiver giver = giverOf(entry, row);
    if (giver.rate != 0) givers.push_back(std::move(giver));
  }
  return givers;
}

std::optional<ClockGiver> clientAsClock(const std::string& id) {
  const LIPC::ShmReadOnly<LIPC::SessionBuffer> session(LIPC::cSessionSegment);
  if (session.get() == nullptr) return std::nullopt;
  const int row = session->getClientIndex(LIPC::ClientID(id));
  const LIPC::ClientEntry* const entry = session->getClientEntry(row);
  if (entry == nullptr) return std::nullopt;
  return giverOf(*entry, row);
}

std::optional<ForeignBlock> newestBlockOf(const std::string& id) {
  const LIPC::ShmReadOnly<LIPC::SHMSlices> ring((id + LIPC::cSendSuffix).c_str());
  return newestOf(ring.get());
}

std::optional<ForeignBlock> ForeignClock::newest() {
  const auto now = Clock::now();
  if (!mRing || (!mIsMoving && now - mAttached > cStandsStill)) attach(now);
  const std::optional<Block> block = newestOf(mRing->get());
  if (block != mLast) {
    // The first that is seen may be an old one.
    mIsMoving = block.has_value() && mLast.has_value();
    mLast = block;
    mMoved = now;
  } else if (now - mMoved > cStandsStill) {
    mIsMoving = false;
  }
  return mIsMoving ? mLast : std::nullopt;
}

/// The client may have joined anew, with another ring under the same name.
void ForeignClock::attach(Clock::time_point now) {
  mRing.emplace((mID + LIPC::cSendSuffix).c_str());
  mAttached = now;
}

}  // namespace jack_bridge
