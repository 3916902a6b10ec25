// SPDX-License-Identifier: BSL-1.0
#include "bridges/jack/Resampler.h"

#include <stdexcept>
#include <string>

#include <samplerate.h>

namespace jack_bridge {

Resampler::Resampler(unsigned channels) {
  int error = 0;
  mState = src_new(SRC_SINC_MEDIUM_QUALITY, static_cast<int>(channels), &error);
  if (mState == nullptr)
    throw std::runtime_error(std::string("there is no resampler: ") + src_strerror(error));
}

Resampler::~Resampler() {
  src_delete(mState);
}

Resampler::Moved Resampler::process(const float* in, long inFrames, float* out, long outFrames,
                                    double ratio) {
  SRC_DATA data{};
  data.data_in = in;
  data.input_frames = inFrames;
  data.data_out = out;
  data.output_frames = outFrames;
  data.src_ratio = ratio;
  if (src_process(mState, &data) != 0) return {inFrames, 0};
  return {data.input_frames_used, data.output_frames_gen};
}

void Resampler::reset() {
  src_reset(mState);
}

}  // namespace jack_bridge
