// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

#include "tools/top/TopLine.h"
#include "tools/top/TopModel.h"

/// Levels as bars from -60 to 0 dB: green, from -9 dB yellow, from -3 dB red. In eighths of a
/// character where the locale is UTF-8.
namespace tools {

inline constexpr float cBarBottomDB = -60.0F;

/// "-12.0"; "-inf" where there is no level.
std::string dBText(float dB);

/// A bar that grows to the right, with a mark at the held level.
TopLine meterBar(const TopMeter& meter, int columns, bool isUTF8);
/// All channels side by side, each as a bar; where they do not fit, each as one character that
/// grows upwards; a plus sign at the end where not even these fit.
TopLine meterBars(const std::vector<TopMeter>& meters, int columns, bool isUTF8);
/// The scale above a bar of that width.
std::string meterScale(int columns);

}  // namespace tools
