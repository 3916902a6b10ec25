// SPDX-License-Identifier: BSL-1.0
#pragma once

#include "lipc/util/Export.h"

namespace LIPC {

/// @addtogroup levels
/// Level conversions: linear amplitude, decibels, normalised parameter values (0 to 1), and the
/// fader law of the PT gain parameter, a host's gain control with 1024 steps. Two scalar helpers
/// turn floats into whole numbers and switches.
///
/// Nothing allocates, locks or keeps state: any thread may call any of it, the audio thread
/// included. The bottom of the decibel scale is -144 dB, which stands for amplitude 0.
///
/// A range is an array of two floats: [0] is the value that maps to 0, [1] the value that maps
/// to 1.
/// @{

/// dB of an amplitude; -144 for everything up to 6.309576e-8, and for a NaN.
LIPC_API float amplitude2db(float x) noexcept;
/// Amplitude of a level in dB; exactly 0 for -144 and below, and for a NaN.
LIPC_API float db2amplitude(float db) noexcept;

/// From a value to its normalised parameter; values outside the range are not clamped. [0] and
/// [1] must differ.
LIPC_API float db2param(float db, const float* range) noexcept;
/// And back; not clamped either.
LIPC_API float param2db(float p, const float* range) noexcept;
/// Carries x from one range to the same place in another; not clamped. `from` as in db2param.
LIPC_API float linearRescale(float x, const float* from, const float* to) noexcept;

/// The level in dB of each PT gain step; step i is the parameter value i / 1023. Strictly rising,
/// in multiples of 0.01 dB, so that both conversions below invert each other step by step:
///
///     steps         dB            from one step to the next
///        0 ..   10  -144 .. -90   6 or 5 dB; the last two are 4.6 and 5.4
///       10 ..   16   -90 .. -84   1 dB
///       16 ..   33   -84 .. -72   0.7 dB, 0.8 once in the middle
///       33 ..  132   -72 .. -40   0.3 dB, with 0.4 after every three of them
///      132 ..  380   -40 .. -19.9 0.05 dB in turn with 0.1, which comes once or twice
///      380 ..  767 -19.9 .. 0     0.05 dB, every 32nd 0.1
///      767 .. 1023     0 .. +12   0.05 dB; every 15 steps a pair (0.02, 0.03) or, in
///                                 turn with it, a triple (0.03, 0.04, 0.03)
///
/// The values come from generate_pt_gain_table.py, which checks all this.
LIPC_API extern const float scPT11GainTodB[1024];

/// dB of a PT gain parameter, interpolated between the steps. -144 up to 0 and for a NaN, +12 above
/// 1, and 0 at the unity position 0.75, which lies between steps 767 and 768.
LIPC_API float PTgainParameterTodB(float p) noexcept;
/// PT gain parameter of a level in dB: 0 up to -144, 1 from +12 on, 0.75 for 0 dB; i / 1023 for the
/// table's value at any other step i. A NaN stays one.
LIPC_API float dBToPTGainParameter(float db) noexcept;

/// The nearest whole number, halves away from zero.
LIPC_API long round(float x) noexcept;
/// False for what rounds to 0, that is between -0.5 and 0.5, both exclusive, and for whole
/// multiples of 2 to the power 32.
LIPC_API bool toBool(float x) noexcept;

/// @}

}  // namespace LIPC
