// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <algorithm>
#include <vector>

#include "bridges/jack/AnswerWatch.h"
#include "bridges/jack/Pieces.h"
#include "lipc/client/Client.h"

namespace jack_bridge {

/// A bridge's one way to trade a block with the session: from buffers of its own, since what a
/// block brings is overwritten with its answer, and JACK's input ports are shared.
///
/// Threads: one at a time trades.
class BlockTrade {
 public:
  BlockTrade(LIPC::Client& client, AnswerWatch& answers, unsigned inputs, unsigned outputs)
      : mClient(client), mAnswers(answers), mInputs(inputs), mOutputs(outputs) {
    const unsigned count = std::max(inputs, outputs);
    mSamples.resize(std::size_t{count} * Pieces::cMostFrames);
    for (unsigned c = 0; c < count; ++c)
      mChannels.push_back(mSamples.data() + std::size_t{c} * Pieces::cMostFrames);
  }
  BlockTrade(const BlockTrade&) = delete;
  BlockTrade& operator=(const BlockTrade&) = delete;

  unsigned inputs() const noexcept LIPC_NONBLOCKING { return mInputs; }
  unsigned outputs() const noexcept LIPC_NONBLOCKING { return mOutputs; }
  /// Room for a block: what goes in, and after `trade` what came back.
  float* channel(unsigned c) noexcept LIPC_NONBLOCKING { return mChannels[c]; }

  /// Trades what the first `inputs` channels hold; the first `outputs` then hold the answer, or
  /// silence where there is none, also while the client is not in the session.
  void trade(unsigned frames, long long stamp) noexcept LIPC_NONBLOCKING {
    const bool isIn = mClient.isConnected() && mAnswers.hasRoom();
    if (isIn)
      mClient.processLIPC(mChannels.data(), static_cast<int>(frames), static_cast<int>(mInputs), 0,
                          stamp, nullptr, 0, nullptr, 0, false);
    // Where it is out by now, the call may have touched nothing.
    if (isIn && mClient.isConnected()) return mAnswers.look(stamp, frames);
    for (unsigned c = 0; c < mOutputs; ++c)
      std::fill_n(mChannels[c], frames, 0.0F);
  }

 private:
  LIPC::Client& mClient;
  AnswerWatch& mAnswers;
  const unsigned mInputs;
  const unsigned mOutputs;
  std::vector<float> mSamples;
  std::vector<float*> mChannels;
};

}  // namespace jack_bridge
