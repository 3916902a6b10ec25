// SPDX-License-Identifier: BSL-1.0
#include "host/ClientStream.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "lipc/session/SessionNames.h"
#include "lipc/util/SharedWord.h"

namespace host {
namespace {

using LIPC::loadAcquire;
using LIPC::SHMSliceBuffer;

/// Stamps beyond this are nobody's; within it sums do not overflow.
constexpr long long cLargestStamp = std::numeric_limits<long long>::max() / 4;

bool isPlausible(long long stamp) {
  return stamp >= -cLargestStamp && stamp <= cLargestStamp;
}

/// Whether a slice still carries the stamp that it had when it was found.
bool carries(const SHMSliceBuffer& slice, long long stamp) {
  LIPC::fenceReads();
  return loadAcquire(slice.timeStamp) == stamp;
}

}  // namespace

ClientStream::ClientStream(const LIPC::ClientID& id)
    : mID(id),
      mBuffer(id.text().c_str()),
      mSendSegment((id.text() + LIPC::cSendSuffix).c_str()),
      mReturnSegment((id.text() + LIPC::cReturnSuffix).c_str()) {
  if (mBuffer.get() == nullptr) return;
  mSend = {mSendSegment.get(), mSendSegment.mappedBytes()};
  mReturns = {mReturnSegment.get(), mReturnSegment.mappedBytes()};
}

void ClientStream::setListeners(std::vector<const ClientStream*> listeners,
                                const std::set<unsigned>& channels) {
  mListeners = std::move(listeners);
  if (channels == mTimeline.kept()) return;
  settle();
  mTimeline.keep(channels);
}

void ClientStream::readNew() {
  LIPC::ValueQueue& queue = mBuffer->newDataQueue;
  const std::uint32_t waiting = queue.size();
  if (waiting == LIPC::ValueQueue::cSlotCount - 1 && mUntilGap == 0) mUntilGap = waiting + 1;
  std::int64_t stamp = 0;
  for (std::uint32_t i = 0; i < waiting && queue.take(stamp); ++i) {
    countOverruns(stamp);
    if (!read(stamp) || wasMissed(stamp)) ++mCounters.dropped;
  }
}

/// The first value behind those of a full queue tells how many found no place.
void ClientStream::countOverruns(long long stamp) {
  const bool isBehindFullQueue = mUntilGap > 0 && --mUntilGap == 0;
  if (!isPlausible(stamp)) return;
  const long long step = stamp - mLastStamp;
  if (isBehindFullQueue && mLastStep > 0 && step > mLastStep) {
    mCounters.overruns += static_cast<std::uint64_t>(step / mLastStep - 1);
  }
  mLastStep = step;
  mLastStamp = stamp;
}

/// False when there is no such block any more, or when it changed while it was looked at.
bool ClientStream::read(long long stamp) {
  SHMSliceBuffer* slice = isPlausible(stamp) ? mSend.find(stamp) : nullptr;
  if (slice == nullptr) return false;
  const long long sliceStamp = loadAcquire(slice->timeStamp);
  const Block block = {stamp, LIPC::loadRelaxed(slice->sampleCount), slice, sliceStamp};
  if (block.samples > LIPC::SHMChannel::cSampleCount) return false;
  if (!isStill(block) || mSend.find(stamp) != slice) return false;
  ++mCounters.blocksIn;
  mWaiting.push(block);
  stand(block);
  return true;
}

/// A listener was answered without it.
bool ClientStream::wasMissed(long long stamp) const {
  return std::any_of(mListeners.begin(), mListeners.end(), [&](const ClientStream* listener) {
    return listener->answeredUpTo() > stamp;
  });
}

void ClientStream::stand(const Block& block) {
  if (block.timeStamp != mTimeline.end()) settle();
  if (mStanding.isFull()) settleOldest();
  mTimeline.advance(block.timeStamp, block.samples);
  mStanding.push(block);
}

bool ClientStream::isStill(const Block& block) {
  return carries(*block.slice, block.sliceStamp);
}

void ClientStream::settle() {
  while (!mStanding.isEmpty())
    settleOldest();
}

/// Into the timeline, where a listener has not heard it yet; what changed meanwhile is silence.
void ClientStream::settleOldest() {
  const Block block = mStanding.front();
  mStanding.pop();
  const long long end = block.timeStamp + block.samples;
  const bool isHeard =
      std::all_of(mListeners.begin(), mListeners.end(),
                  [&](const ClientStream* listener) { return listener->answeredUpTo() >= end; });
  if (isHeard) return mTimeline.forget(end);
  const auto write = [&](const LIPC::SliceSamples& from) {
    for (const unsigned channel : mTimeline.kept()) {
      mTimeline.write(channel, block.timeStamp, block.samples,
                      channel < from.channelCount ? from.channel(channel) : nullptr);
    }
  };
  write(samplesOf(block));
  if (isStill(block)) return;
  write({});
  ++mCounters.dropped;
}

const ClientStream::Block* ClientStream::standing(long long t, unsigned count) {
  if (mStanding.isEmpty() || t >= mTimeline.end()) return nullptr;
  if (t + count <= mStanding.front().timeStamp) return nullptr;
  for (unsigned i = 0; i < mStanding.size(); ++i) {
    if (mStanding[i].timeStamp == t && mStanding[i].samples == count) return &mStanding[i];
  }
  settle();
  return nullptr;
}

/// Samples that the client has sent since.
long long ClientStream::age(const Block& block) const {
  const long long newest = mReturns.newestStamp();
  return isPlausible(newest) ? newest - block.timeStamp : 0;
}

bool ClientStream::isOldestDue() const {
  if (mWaiting.size() >= cLatencyBlocks) return true;  // whatever the ring says
  const Block& block = oldest();
  // A stamp that went back: nothing is to be waited for.
  const long long sentSince = age(block);
  return sentSince < 0 || sentSince >= (cLatencyBlocks - 1) * static_cast<long long>(block.samples);
}

ClientStream::Slot ClientStream::openSlot() const {
  SHMSliceBuffer* slice = mReturns.find(oldest().timeStamp);
  if (slice == nullptr) return {};
  return {slice, loadAcquire(slice->timeStamp), mReturns.samplesOf(*slice)};
}

void ClientStream::answerOldest(const Slot& slot) {
  const Block& block = oldest();
  const bool isFilled = slot.slice != nullptr && finishSlot(slot);
  const bool isInTime =
      block.samples == 0 || age(block) < cLatencyBlocks * static_cast<long long>(block.samples);
  ++(isFilled && isInTime ? mCounters.answered : mCounters.late);
  mAnsweredUpTo = block.timeStamp + block.samples;
  mWaiting.pop();
}

/// The client may stamp the slot anew at any moment. So the stamp is looked at before `ready` is
/// set and, should it have changed in between, once more: the client looks at a slot's flag four
/// blocks after it has stamped it. The parameters come straight from the block's own slice, which
/// goes no sooner than the slot: a client takes a new slot for every slice that it takes.
bool ClientStream::finishSlot(const Slot& slot) {
  const Block& block = oldest();
  std::memcpy(slot.slice->parameters, block.slice->parameters, sizeof block.slice->parameters);
  if (!isStill(block)) return false;
  if (mReturns.find(block.timeStamp) != slot.slice) return false;
  if (!carries(*slot.slice, slot.sliceStamp)) return false;
  LIPC::storeRelease(slot.slice->ready, std::uint8_t{1});
  LIPC::fenceAll();
  if (carries(*slot.slice, slot.sliceStamp)) return true;
  LIPC::storeRelease(slot.slice->ready, std::uint8_t{0});
  return false;
}

}  // namespace host
