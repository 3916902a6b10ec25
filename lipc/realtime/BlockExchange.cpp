// SPDX-License-Identifier: BSL-1.0
#include "lipc/realtime/BlockExchange.h"

#include <algorithm>
#include <cstring>

#include <sched.h>

#include "lipc/util/SharedWord.h"

namespace LIPC {
namespace {

bool isWithin(int count, int most) noexcept {
  return count >= 0 && count <= most;
}

/// Copies `count` floats; from null come zeros, to null goes nothing.
void copyFloats(float* to, const float* from, int count) noexcept {
  if (to == nullptr || count <= 0) return;
  const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(float);
  if (from == nullptr) {
    std::memset(to, 0, bytes);
  } else {
    std::memcpy(to, from, bytes);
  }
}

void zeroFloats(float* to, int count) noexcept {
  copyFloats(to, nullptr, count);
}

float* channelOf(const AudioBlock& block, unsigned c) noexcept {
  return block.channels != nullptr ? block.channels[c] : nullptr;
}

void writeSender(SHMSliceBuffer& slice, const ExchangeSetup& setup) noexcept {
  slice.clientType = setup.clientType;
  std::memcpy(slice.clientID, setup.clientID, SHMSliceBuffer::cIDCharacters);
  slice.terminator = '\0';
}

bool isReady(const SHMSliceBuffer* slice) noexcept {
  // Acquire: the host's data come before its flag.
  return slice != nullptr && loadAcquire(slice->ready) != 0;
}

/// Gives the processor away for once: no wait for anything, and only when the caller asked for it.
void yieldProcessor() noexcept LIPC_NONBLOCKING {
  const DeliberateSystemCall yielding;
  LIPC_UNCHECKED_BEGIN
  sched_yield();
  LIPC_UNCHECKED_END
}

}  // namespace

bool AudioBlock::isAcceptable() const noexcept {
  return isWithin(numSamples, cMostSamples) && numChannels >= 0 &&
         isWithin(numParameters, cMostParameters) && isWithin(numReturnParameters, cMostParameters);
}

void BlockExchange::attach(const MappedRing& send, const MappedRing& returns, ValueQueue& queue,
                           SemaphoreHandle& newData) {
  mSend = send;
  mReturns = returns;
  mQueue = &queue;
  mNewData = &newData;
}

void BlockExchange::detach() {
  *this = BlockExchange();
}

void BlockExchange::send(const AudioBlock& block, const ExchangeSetup& setup) noexcept {
  SHMSliceBuffer* slice = prepareSend(block.timeStamp, static_cast<unsigned>(block.numSamples));
  if (slice == nullptr) return;
  writeSender(*slice, setup);
  const SliceSamples samples = mSend.samplesOf(*slice);
  const unsigned channels = std::min(
      {setup.inputChannelCount, static_cast<unsigned>(block.numChannels), samples.channelCount});
  for (unsigned c = 0; c < channels; ++c)
    copyFloats(samples.channel(c), channelOf(block, c), block.numSamples);
  copyFloats(slice->parameters, block.parameters, block.numParameters);
}

void BlockExchange::stampReturnSlot(const AudioBlock& block, const ExchangeSetup& setup) noexcept {
  SHMSliceBuffer* slice = prepareReturn(block.timeStamp, static_cast<unsigned>(block.numSamples));
  if (slice != nullptr) writeSender(*slice, setup);
}

void BlockExchange::announce(long long timeStamp) noexcept {
  if (mQueue != nullptr && mQueue->put(timeStamp)) mNewData->post();
}

void BlockExchange::receive(const AudioBlock& block, const ExchangeSetup& setup,
                            bool mayPoll) noexcept {
  // Unsigned, so that a stamp at the end of the range does not overflow.
  const auto wanted =
      static_cast<long long>(static_cast<unsigned long long>(block.timeStamp) -
                             static_cast<unsigned>(cLatencyBlocks * block.numSamples));
  SHMSliceBuffer* slice = mReturns.find(wanted);
  for (int poll = 0; mayPoll && poll < cPolls && !isReady(slice); ++poll) {
    yieldProcessor();
    slice = mReturns.find(wanted);
  }
  if (!isReady(slice)) {
    silence(block, setup.outputChannelCount);
    if (slice != nullptr) {
      copyFloats(block.returnParameters, slice->parameters, block.numReturnParameters);
    }
    return;
  }
  const SliceSamples samples = mReturns.samplesOf(*slice);
  for (unsigned o = 0; o < setup.outputChannelCount; ++o) {
    const std::int32_t source = o < setup.routingCount ? loadRelaxed(setup.outputRouting[o]) : -1;
    const bool isThere = source >= 0 && static_cast<unsigned>(source) < samples.channelCount;
    copyFloats(channelOf(block, o),
               isThere ? samples.channel(static_cast<unsigned>(source)) : nullptr,
               block.numSamples);
  }
  copyFloats(block.returnParameters, slice->parameters, block.numReturnParameters);
}

SHMSliceBuffer* BlockExchange::prepareSend(long long timeStamp, unsigned numSamples) noexcept {
  SHMSliceBuffer* slice = mSend.find(timeStamp);
  if (slice == nullptr) slice = mSend.advance(timeStamp);
  if (slice == nullptr) return nullptr;
  storeRelaxed(slice->sampleCount, std::uint32_t{numSamples});
  storeRelaxed(slice->ready, std::uint8_t{1});
  return slice;
}

SHMSliceBuffer* BlockExchange::prepareReturn(long long timeStamp, unsigned numSamples) noexcept {
  SHMSliceBuffer* slice = mReturns.advance(timeStamp);
  if (slice == nullptr) return nullptr;
  storeRelaxed(slice->sampleCount, std::uint32_t{numSamples});
  storeRelease(slice->ready, std::uint8_t{0});
  return slice;
}

float* BlockExchange::sentParameters(long long timeStamp) const noexcept {
  SHMSliceBuffer* slice = mSend.find(timeStamp);
  return slice != nullptr ? slice->parameters : nullptr;
}

void BlockExchange::silence(const AudioBlock& block, unsigned outputChannelCount) noexcept {
  for (unsigned o = 0; o < outputChannelCount; ++o)
    zeroFloats(channelOf(block, o), block.numSamples);
  zeroFloats(block.returnParameters, block.numReturnParameters);
}

}  // namespace LIPC
