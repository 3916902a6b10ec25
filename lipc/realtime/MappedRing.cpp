// SPDX-License-Identifier: BSL-1.0
#include "lipc/realtime/MappedRing.h"

#include <cstring>

namespace LIPC {

void MappedRing::clear() noexcept {
  if (!isMapped()) return;
  for (SHMSliceBuffer& slice : mRing->slices) {
    slice.clearParameters();
    const SliceSamples samples = samplesOf(slice);
    if (samples.channelCount == 0) continue;
    std::memset(samples.first, 0, samples.channelCount * sizeof(SHMChannel));
  }
}

}  // namespace LIPC
