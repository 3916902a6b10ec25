// SPDX-License-Identifier: BSL-1.0
#include "bridges/jack/AudioCallback.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace jack_bridge {

AudioCallback::AudioCallback(LIPC::Client& client, AnswerWatch& answers, unsigned inputs,
                             unsigned outputs)
    : mInputs(inputs),
      mOutputs(outputs),
      mTrade(client, answers, inputs, outputs),
      mToSession(inputs, cRingFrames),
      mFromSession(outputs, cRingFrames) {}

void AudioCallback::begin(int rate, std::int64_t stampOfOther) {
  mTime = FrameTime(rate, stampOfOther);
}

void AudioCallback::setMode(eMode mode) {
  mMode = eSilent;
  // A server that ended may have taken its thread along in the middle of a period.
  constexpr int cMostMS = 500;
  for (int waited = 0; mIsRunning && waited < cMostMS; ++waited)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  if (mode == eSilent) return;
  mToSession.clear();
  mFromSession.clear();
  mMarkTime = 0;
  mMode = mode;
}

void AudioCallback::period(const Period& period) noexcept {
  mIsRunning = true;
  const std::int64_t stamp = mTime.widen(period.frameTime, period.microseconds);
  switch (mMode) {
    case eSilent:
      silence(period);
      break;
    case eDirect:
      direct(period, stamp);
      break;
    case ePaced:
    case eResampled:
      throughRings(period, stamp, mMode == ePaced);
      break;
  }
  ++mPeriods;
  mIsRunning = false;
}

void AudioCallback::direct(const Period& period, std::int64_t stamp) noexcept {
  const Pieces pieces = Pieces::of(period.frames);
  if (pieces.count == 0 || pieces.arePaced()) return silence(period);
  for (unsigned start = 0; start < period.frames; start += pieces.frames) {
    for (unsigned c = 0; c < mInputs; ++c) {
      if (period.in[c] != nullptr) {
        std::copy_n(period.in[c] + start, pieces.frames, mTrade.channel(c));
      } else {
        std::fill_n(mTrade.channel(c), pieces.frames, 0.0F);
      }
    }
    mTrade.trade(pieces.frames, stamp + start);
    for (unsigned c = 0; c < mOutputs; ++c) {
      if (period.out[c] != nullptr)
        std::copy_n(mTrade.channel(c), pieces.frames, period.out[c] + start);
    }
  }
}

/// Where the blocks are paced, what has come since the last period is the next one, or parts of it
/// that came too late.
void AudioCallback::throughRings(const Period& period, std::int64_t stamp, bool isPaced) noexcept {
  // Where nobody takes them they have no room, and are lost.
  mToSession.write(period.frames, [&](unsigned c, unsigned i) noexcept {
    return period.in[c] != nullptr ? period.in[c][i] : 0.0F;
  });
  const bool isLate = isPaced && mFromSession.fill() != period.frames;
  const bool isRead = !isLate && mFromSession.read(period.frames, [&](unsigned c, unsigned i,
                                                                      float sample) noexcept {
    if (period.out[c] != nullptr) period.out[c][i] = sample;
  });
  if (!isRead) silence(period);
  if (isLate) mFromSession.skip(mFromSession.fill());
  ++mMarkTurn;
  mMarkTime = static_cast<std::int64_t>(period.microseconds);
  mMarkStamp = stamp;
  mMarkFrames = period.frames;
  mMarkWritten = mToSession.written();
  mMarkTaken = mFromSession.taken();
  ++mMarkTurn;
}

void AudioCallback::silence(const Period& period) const noexcept {
  for (unsigned c = 0; c < mOutputs; ++c) {
    if (period.out[c] != nullptr) std::fill_n(period.out[c], period.frames, 0.0F);
  }
}

AudioCallback::Mark AudioCallback::mark() const {
  for (;;) {
    const std::uint32_t turn = mMarkTurn;
    const Mark mark{mMarkTime, mMarkStamp, mMarkFrames, mMarkWritten, mMarkTaken};
    if (turn % 2 == 0 && turn == mMarkTurn) return mark;
    std::this_thread::yield();
  }
}

}  // namespace jack_bridge
