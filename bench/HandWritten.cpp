// SPDX-License-Identifier: BSL-1.0
#include "bench/HandWritten.h"

#include <cstring>
#include <stdexcept>

#include <fcntl.h>

#include "bench/Measure.h"

namespace bench {
namespace {

constexpr int cLatencyBlocks = 4;

}  // namespace

BareSemaphore::BareSemaphore(const std::string& name, bool isMaker)
    : mName("/" + name), mIsMaker(isMaker) {
  if (mIsMaker) sem_unlink(mName.c_str());
  mSemaphore =
      mIsMaker ? sem_open(mName.c_str(), O_CREAT | O_EXCL, 0600, 0) : sem_open(mName.c_str(), 0);
  if (mSemaphore == SEM_FAILED) throw std::runtime_error("no semaphore " + mName);
}

BareSemaphore::~BareSemaphore() {
  sem_close(mSemaphore);
  if (mIsMaker) sem_unlink(mName.c_str());
}

HandWritten::HandWritten(const Slices& slices, unsigned channels)
    : mSlices(slices),
      mChannels(channels),
      mAccess(std::string(cName) + "Access", true),
      mNotice(std::string(cName) + "Notice", true),
      mPong(std::string(cName) + "Pong", true) {
  mAccess.post();
}

void HandWritten::restart() {
  mNotice.clear();
  mPong.clear();
  mBlock = 0;
  for (LIPC::SHMSliceBuffer* slot : mSlices.returns)
    slot->timeStamp = -1000;
}

void HandWritten::copyIn(const Caller& caller) {
  LIPC::SHMSliceBuffer& slice = mSlices.send(mBlock);
  const std::size_t bytes = static_cast<std::size_t>(caller.samples) * sizeof(float);
  float* const first = slice.getChannelSamples(0);
  for (unsigned c = 0; c < mChannels; ++c)
    std::memcpy(first + c * LIPC::SHMChannel::cSampleCount, caller.channels[c], bytes);
  std::memcpy(slice.parameters, caller.parameters.data(), caller.parameters.size() * sizeof(float));
}

void HandWritten::copyOut(Caller& caller, std::int64_t block) {
  const LIPC::SHMSliceBuffer& slice = mSlices.returned(block);
  const std::size_t bytes = static_cast<std::size_t>(caller.samples) * sizeof(float);
  const float* const first = slice.getChannelSamples(0);
  for (unsigned c = 0; c < mChannels; ++c)
    std::memcpy(caller.channels[c], first + c * LIPC::SHMChannel::cSampleCount, bytes);
  std::memcpy(caller.returned.data(), slice.parameters, caller.returned.size() * sizeof(float));
}

void HandWritten::exchange(Caller& caller) {
  if (!mAccess.tryWait()) return;
  ++mBlock;
  copyIn(caller);
  mNotice.post();
  copyOut(caller, mBlock + Slices::cCount - cLatencyBlocks);
  mAccess.post();
}

void HandWritten::roundTrip(Caller& caller, bool isLooking) {
  ++mBlock;
  copyIn(caller);
  mNotice.post();
  if (isLooking) {
    while (!mPong.tryWait())
      relax();
  } else {
    mPong.wait();
  }
  copyOut(caller, mBlock);
}

}  // namespace bench
