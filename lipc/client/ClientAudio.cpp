// SPDX-License-Identifier: BSL-1.0

// The audio thread's side: one call per block.

#include "lipc/client/Client.h"

namespace LIPC {
namespace {

/// Counts a call for as long as it is under way.
class UnderWay {
 public:
  explicit UnderWay(std::atomic<int>& calls) noexcept : mCalls(calls) { ++mCalls; }
  ~UnderWay() { mCalls.fetch_sub(1, std::memory_order_release); }
  UnderWay(const UnderWay&) = delete;
  UnderWay& operator=(const UnderWay&) = delete;

 private:
  std::atomic<int>& mCalls;
};

/// `block`'s stamp, `blocks` blocks earlier. Unsigned, so that a stamp at the end of the range does
/// not overflow.
long long stampBefore(const AudioBlock& block, unsigned blocks) noexcept {
  return static_cast<long long>(static_cast<unsigned long long>(block.timeStamp) -
                                static_cast<unsigned long long>(blocks) *
                                    static_cast<unsigned>(block.numSamples));
}

MappedRing mapped(const std::unique_ptr<ShmManagedCreateOpen<SHMSlices>>& ring) {
  return MappedRing(ring->get(), ring->mappedBytes());
}

/// Maps a semaphore's page into this process, which opening it does not. A count that is taken is
/// given back at once.
void touch(SemaphoreHandle& handle) {
  if (handle.isOpen() && handle.try_wait()) handle.post();
}

}  // namespace

/// Its last two steps let the audio thread in: everything that it reads is in place by then, and
/// mapped, so that its first block meets no page fault.
void Client::openExchange() {
  touch(*mAttachment.mNewAudioDataAvailableSemaphore);
  mExchange.attach(mapped(mAttachment.mSendSlices), mapped(mAttachment.mReturnSlices),
                   mAttachment.clientBuffer()->newDataQueue,
                   *mAttachment.mNewAudioDataAvailableSemaphore);
  mSHMSliceBufferAccessHandle.clear();
  mConnected = true;
  mSHMSliceBufferAccessHandle.post();
}

void Client::processLIPC(float** channelBuffers, int numSamples, int numChannels, int,
                         long long timeStamp, const float* rtParams, int numRTParams,
                         float* returnParams, int numReturnParams, bool waitForReturn) noexcept {
  const UnderWay call(mAudioCalls);
  // One thread counts.
  mProcessCallCount.store(mProcessCallCount.load(std::memory_order_relaxed) + 1,
                          std::memory_order_relaxed);
  if (!mConnected) return;
  const AudioBlock block{channelBuffers, numSamples,  numChannels,  timeStamp,
                         rtParams,       numRTParams, returnParams, numReturnParams};
  // A try block costs nothing until something is thrown.
  LIPC_UNCHECKED_BEGIN
  try {
    exchangeBlock(block, waitForReturn);
  } catch (...) {
    // deliberate: the access semaphore stays taken, so that every block is silent until the
    // auto-connect thread has left and joined again.
    mConnected = false;
  }
  LIPC_UNCHECKED_END
}

void Client::exchangeBlock(const AudioBlock& block, bool waitForReturn) {
  if (!block.isAcceptable() || !mSHMSliceBufferAccessHandle.try_wait()) {
    return BlockExchange::silence(block, mConfig.activeOutputChannelCount());
  }
  {
    const ConfigBlocks::Pin config(mConfig);
    const ExchangeSetup setup{mClientType,
                              config->paddedID.data(),
                              config->inputChannelCount,
                              config->outputChannelCount,
                              config->outputRouting.data(),
                              config->outputRouting.size()};
    mExchange.send(block, setup);
    amendPreviousParameters(block);
    mExchange.stampReturnSlot(block, setup);
    if ((mMode & (eClientModeOutputs | eClientModeNoAudio)) != 0) {
      mExchange.announce(block.timeStamp);
    }
    mExchange.receive(block, setup, waitForReturn);
  }
  mSHMSliceBufferAccessHandle.post();
}

/// Lets the client amend what it sent with the one or two blocks before, while the host has not
/// consumed them.
void Client::amendPreviousParameters(const AudioBlock& block) {
  if (!need2updatePreviousRTparamsCallback()) return;
  for (unsigned blocksBack = 1; blocksBack <= 2; ++blocksBack) {
    float* parameters = mExchange.sentParameters(stampBefore(block, blocksBack));
    if (parameters == nullptr) return;
    if (updatePreviousRTparamsCallback(parameters, block.numSamples,
                                       static_cast<int>(blocksBack)) == 0) {
      return;
    }
  }
}

SHMSliceBuffer* Client::prepareSendBuffer(long long timeStamp, unsigned short,
                                          unsigned numSamples) noexcept {
  const UnderWay call(mAudioCalls);
  return mConnected ? mExchange.prepareSend(timeStamp, numSamples) : nullptr;
}

SHMSliceBuffer* Client::prepareReturnBuffer(long long timeStamp, unsigned short,
                                            unsigned numSamples) noexcept {
  const UnderWay call(mAudioCalls);
  return mConnected ? mExchange.prepareReturn(timeStamp, numSamples) : nullptr;
}

void Client::signalBufferAvailable(long long timeStamp) noexcept {
  const UnderWay call(mAudioCalls);
  if (mConnected) mExchange.announce(timeStamp);
}

float* Client::getPreviousRTparams(long long timeStamp) noexcept {
  const UnderWay call(mAudioCalls);
  return mConnected ? mExchange.sentParameters(timeStamp) : nullptr;
}

void Client::clearReturnBuffers() {
  constexpr int cTimes = 6;  // deliberate: each time clears all six slices
  const std::lock_guard lock(mMutex);
  if (!mConnected) return;
  for (int time = 0; time < cTimes; ++time)
    mExchange.clearReturns();
}

void Client::updateDAWvaluesFromShMem() {
  const UnderWay call(mAudioCalls);
  // The flag too: an audio thread that a leave did not wait for gives the semaphore back after it.
  if (!mConnected || !mSHMSliceBufferAccessHandle.try_wait()) {
    return updateDAWvaluesCallback(nullptr, 0);
  }
  // Given back whatever the callback does.
  struct Post {
    SemaphoreHandle& handle;
    ~Post() { handle.post(); }
  } post{mSHMSliceBufferAccessHandle};
  const auto& segment = mAttachment.mPannerDAWValues;
  SHM_Panner_DAW_Values* values = segment ? segment->get() : nullptr;
  updateDAWvaluesCallback(values, values != nullptr ? 1 : -1);
}

}  // namespace LIPC
