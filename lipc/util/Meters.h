// SPDX-License-Identifier: BSL-1.0
#pragma once

#include "lipc/util/Export.h"

namespace LIPC {

/// @addtogroup meters
/// Level meters over one block of channels.
///
/// `channels` holds `numChannels` pointers to `numSamples` samples each. Output c belongs to
/// channel c; outputs from `numChannels` up to `outCount` are filled with the meter's resting
/// value. The caller provides room for max(numChannels, outCount) outputs: neither meter checks it.
/// Nothing allocates, locks or keeps state: any thread may call both, the audio thread included.
/// @{

/// Mean power per channel in dB, summed in single precision in sample order. Resting value -144,
/// for every output when there are no samples. A silent channel gives minus infinity.
LIPC_API void computeVU_RMS(const float* const* channels, unsigned int numChannels,
                            unsigned int numSamples, float* out, unsigned int outCount) noexcept;

/// Largest absolute sample per channel, a linear amplitude. Resting value 0, for every output when
/// there are no samples.
LIPC_API void computeVU_peak(const float* const* channels, unsigned int numChannels,
                             unsigned int numSamples, float* out, unsigned int outCount) noexcept;

/// @}

}  // namespace LIPC
