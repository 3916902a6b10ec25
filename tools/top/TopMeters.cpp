// SPDX-License-Identifier: BSL-1.0
#include "tools/top/TopMeters.h"

#include <algorithm>

#include <fmt/core.h>

namespace tools {
namespace {

constexpr int cSmallestBar = 4;  // columns
constexpr float cYellowDB = -9.0F;
constexpr float cRedDB = -3.0F;

const char* const cRight[] = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉", "█"};
const char* const cUp[] = {"·", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
const char* const cUpASCII[] = {".", ",", ":", "-", "=", "+", "*", "%", "#"};

eTopStyle styleOf(float dB) {
  return dB >= cRedDB ? eTopStyle::eRed : dB >= cYellowDB ? eTopStyle::eYellow : eTopStyle::eGreen;
}

/// Eighths of so many columns; at least one for what is above the bottom.
int eighthsOf(float dB, int columns) {
  if (!(dB > cBarBottomDB)) return 0;
  const float part = std::min(1.0F, 1.0F - dB / cBarBottomDB);
  return std::max(static_cast<int>(part * static_cast<float>(8 * columns)), 1);
}

std::string cellOf(int eighths, bool isUTF8) {
  if (isUTF8) return cRight[eighths];
  return eighths == 8 ? "#" : "-";
}

TopLine meterColumn(const TopMeter& meter, bool isUTF8) {
  const int eighths = eighthsOf(meter.dB, 1);
  const char* text = isUTF8 ? cUp[eighths] : cUpASCII[eighths];
  return {text, eighths == 0 ? eTopStyle::eDim : styleOf(meter.dB)};
}

}  // namespace

std::string dBText(float dB) {
  return dB <= PeakHold::cBottomDB ? "-inf" : fmt::format("{:.1f}", dB);
}

TopLine meterBar(const TopMeter& meter, int columns, bool isUTF8) {
  const int level = eighthsOf(meter.dB, columns);
  const int held = (eighthsOf(meter.heldDB, columns) + 7) / 8 - 1;  // cell
  TopLine line;
  for (int cell = 0; cell < columns; ++cell) {
    const int eighths = std::clamp(level - 8 * cell, 0, 8);
    const float middle =
        cBarBottomDB * (1.0F - (static_cast<float>(cell) + 0.5F) / static_cast<float>(columns));
    if (eighths > 0)
      line.add(cellOf(eighths, isUTF8), styleOf(middle));
    else if (cell == held)
      line.add(isUTF8 ? "│" : "|", styleOf(meter.heldDB));
    else
      line.add(" ");
  }
  return line;
}

TopLine meterBars(const std::vector<TopMeter>& meters, int columns, bool isUTF8) {
  const int count = static_cast<int>(meters.size());
  TopLine line;
  if (count == 0 || columns <= 0) return line;
  const int barColumns = (columns - (count - 1)) / count;
  if (barColumns >= cSmallestBar) {
    for (const TopMeter& meter : meters) {
      if (!line.spans.empty()) line.add(" ");
      line.add(meterBar(meter, barColumns, isUTF8));
    }
    return line;
  }
  const int shown = count > columns ? columns - 1 : count;
  for (int i = 0; i < shown; ++i)
    line.add(meterColumn(meters[static_cast<std::size_t>(i)], isUTF8));
  if (shown < count) line.add("+", eTopStyle::eDim);
  return line;
}

std::string meterScale(int columns) {
  std::string scale(static_cast<std::size_t>(std::max(columns, 0)), ' ');
  for (const int dB : {-60, -50, -40, -30, -20, -10, 0}) {
    const std::string text = fmt::format("{}", dB);
    const int at = columns * (60 + dB) / 60;
    const int first = std::min(at, columns - static_cast<int>(text.size()));
    if (first < 0) continue;
    const auto place = static_cast<std::size_t>(first);
    const bool isFree =
        scale.substr(place > 0 ? place - 1 : 0, text.size() + 1).find_first_not_of(' ') ==
        std::string::npos;
    if (isFree) scale.replace(place, text.size(), text);
  }
  return scale;
}

}  // namespace tools
