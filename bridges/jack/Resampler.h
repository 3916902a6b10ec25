// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <memory>

struct SRC_STATE_tag;

namespace jack_bridge {

/// libsamplerate's, for frames of some channels. Allocates, so not for the audio thread. The length
/// of its filter shows at the beginning only, when it takes so much more than it gives.
///
/// Threads: one at a time.
class Resampler {
 public:
  /// Throws std::runtime_error where the library has no room for it.
  explicit Resampler(unsigned channels);
  ~Resampler();
  Resampler(const Resampler&) = delete;
  Resampler& operator=(const Resampler&) = delete;

  struct Moved {
    long in = 0;
    long out = 0;
  };
  /// Frames, channels side by side. `ratio`: output frames to input frames; it glides from that of
  /// the call before.
  Moved process(const float* in, long inFrames, float* out, long outFrames, double ratio);
  void reset();

 private:
  SRC_STATE_tag* mState;
};

}  // namespace jack_bridge
