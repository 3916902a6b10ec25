// SPDX-License-Identifier: BSL-1.0
#include "host/ClientStream.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "lipc/realtime/BlockExchange.h"
#include "lipc/session/SessionNames.h"
#include "lipc/util/SharedWord.h"

namespace host {
namespace {

using LIPC::loadAcquire;
using LIPC::SHMSliceBuffer;

constexpr unsigned cLatencyBlocks = LIPC::BlockExchange::cLatencyBlocks;
/// Stamps beyond this are nobody's; within it sums do not overflow.
constexpr long long cLargestStamp = std::numeric_limits<long long>::max() / 4;

bool isPlausible(long long stamp) {
  return stamp >= -cLargestStamp && stamp <= cLargestStamp;
}

/// Whether a slice still carries the stamp that it had when it was found.
bool isStill(const SHMSliceBuffer& slice, long long stamp) {
  LIPC::fenceReads();
  return loadAcquire(slice.timeStamp) == stamp;
}

}  // namespace

ClientStream::ClientStream(const LIPC::ClientID& id)
    : mID(id),
      mBuffer(id.text().c_str()),
      mSendSegment((id.text() + LIPC::cSendSuffix).c_str()),
      mReturnSegment((id.text() + LIPC::cReturnSuffix).c_str()),
      mAnsweredUpTo(std::numeric_limits<long long>::min()) {
  if (mBuffer.get() == nullptr) return;
  mSend = {mSendSegment.get(), mSendSegment.mappedBytes()};
  mReturns = {mReturnSegment.get(), mReturnSegment.mappedBytes()};
}

void ClientStream::readNew(const std::function<bool(long long)>& wasMissed) {
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

/// False when there is no such block any more, or when it changed while it was read.
bool ClientStream::read(long long stamp) {
  SHMSliceBuffer* slice = isPlausible(stamp) ? mSend.find(stamp) : nullptr;
  if (slice == nullptr) return false;
  Block block;
  block.timeStamp = stamp;
  if (!copyBlock(*slice, block)) return false;
  ++mCounters.blocksIn;
  mWaiting.push_back(block);
  return true;
}

bool ClientStream::copyBlock(SHMSliceBuffer& slice, Block& block) {
  const long long stamp = loadAcquire(slice.timeStamp);  // the block's own, or up to two beside it
  block.samples = LIPC::loadRelaxed(slice.sampleCount);
  if (block.samples > LIPC::SHMChannel::cSampleCount) return false;
  const LIPC::SliceSamples samples = mSend.samplesOf(slice);
  std::memcpy(block.parameters.data(), slice.parameters, sizeof slice.parameters);
  mSent.advance(block.timeStamp, block.samples);
  for (const unsigned channel : mSent.kept())
    mSent.write(channel, channel < samples.channelCount ? samples.channel(channel) : nullptr);
  const bool isWhole = mSend.find(block.timeStamp) == &slice && isStill(slice, stamp);
  if (isWhole) return true;
  for (const unsigned channel : mSent.kept())
    mSent.write(channel, nullptr);
  return false;
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

void ClientStream::answerOldest(const Fill& fill) {
  const Block& block = oldest();
  const bool isFilled = fillSlot(block, fill);
  const bool isInTime =
      block.samples == 0 || age(block) < cLatencyBlocks * static_cast<long long>(block.samples);
  ++(isFilled && isInTime ? mCounters.answered : mCounters.late);
  mAnsweredUpTo = block.timeStamp + block.samples;
  mWaiting.pop_front();
}

/// The client may stamp the slot anew at any moment. So the stamp is looked at before `ready` is
/// set and, should it have changed in between, once more: the client looks at a slot's flag four
/// blocks after it has stamped it.
bool ClientStream::fillSlot(const Block& block, const Fill& fill) {
  SHMSliceBuffer* slot = mReturns.find(block.timeStamp);
  if (slot == nullptr) return false;
  const long long stamp = loadAcquire(slot->timeStamp);
  const LIPC::SliceSamples samples = mReturns.samplesOf(*slot);
  for (unsigned c = 0; c < samples.channelCount; ++c) {
    std::memset(samples.channel(c), 0, block.samples * sizeof(float));
    fill(c, samples.channel(c));
  }
  std::memcpy(slot->parameters, block.parameters.data(), sizeof slot->parameters);
  if (mReturns.find(block.timeStamp) != slot || !isStill(*slot, stamp)) return false;
  LIPC::storeRelease(slot->ready, std::uint8_t{1});
  LIPC::fenceAll();
  if (isStill(*slot, stamp)) return true;
  LIPC::storeRelease(slot->ready, std::uint8_t{0});
  return false;
}

}  // namespace host
