// SPDX-License-Identifier: BSL-1.0
#include "bridges/jack/PacedBlocks.h"

#include <algorithm>
#include <chrono>

#include "lipc/util/Threads.h"

namespace jack_bridge {

PacedBlocks::PacedBlocks(const Setup& setup, AudioCallback& callback)
    : mSetup(setup), mCallback(callback) {
  mThread = LIPC::startThread([this] { run(); });
}

PacedBlocks::~PacedBlocks() {
  mStop = true;
  mThread.join();
}

void PacedBlocks::run() {
  constexpr std::chrono::microseconds cLook(500);
  LIPC::setCurrentThreadName("LIPC JACK blocks");
  mSetup.raise();
  for (; !mStop; std::this_thread::sleep_for(cLook))
    tradeWhatIsDue();
}

void PacedBlocks::tradeWhatIsDue() {
  const AudioCallback::Mark mark = mCallback.mark();
  const Pieces& pieces = mSetup.pieces;
  if (mark.microseconds == 0 || mark.frames != pieces.period()) return;
  FrameRing& ring = mCallback.toSession();
  if (mark.stamp != mPeriod) {
    // What is left of the period before is too late.
    ring.skip(static_cast<unsigned>(
        std::max<std::int64_t>(0, mark.written - mark.frames - ring.taken())));
    mPeriod = mark.stamp;
    mDone = 0;
  }
  const double since = static_cast<double>(mSetup.microseconds() - mark.microseconds) / 1e6;
  for (; mDone < pieces.count && mDone * pieces.frames <= since * mSetup.rate; ++mDone)
    trade(mPeriod + std::int64_t{mDone} * pieces.frames);
}

void PacedBlocks::trade(long long stamp) {
  BlockTrade& block = mCallback.trade();
  const unsigned frames = mSetup.pieces.frames;
  const bool isThere = mCallback.toSession().read(
      frames, [&](unsigned c, unsigned i, float sample) noexcept { block.channel(c)[i] = sample; });
  // The channels hold the last answer.
  for (unsigned c = 0; !isThere && c < block.inputs(); ++c)
    std::fill_n(block.channel(c), frames, 0.0F);
  block.trade(frames, stamp);
  mCallback.fromSession().write(
      frames, [&](unsigned c, unsigned i) noexcept { return block.channel(c)[i]; });
}

}  // namespace jack_bridge
