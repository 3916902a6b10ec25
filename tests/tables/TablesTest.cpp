// SPDX-License-Identifier: BSL-1.0

// A checksum of every value, made from the printed tables they come from.
#include <bit>

#include "tables/MixEngineTables.h"
#include "tables/SettingsTables.h"
#include "tables/SpeakerLayouts.h"
#include "tests/support/Testing.h"

namespace {

using namespace LSS;
using namespace Vexo;

/// FNV-1a, 64 bits.
std::uint64_t checksum(const std::string& text) {
  std::uint64_t sum = 14695981039346656037U;
  for (const unsigned char byte : text)
    sum = (sum ^ byte) * 1099511628211U;
  return sum;
}

std::ostream& operator<<(std::ostream& out, const MixEngine::mixprofile& profile) {
  out << profile.firstLimit << ' ' << profile.secondLimit << ' ' << profile.profileFlag;
  for (const auto format : profile.exportFormats)
    out << ' ' << format;
  return out;
}

std::string printed(const auto&... maps) {
  std::ostringstream all;
  const auto print = [&](const auto& map) {
    for (const auto& [key, value] : map)
      all << key << ' ' << value << ';';
    all << '\n';
  };
  (print(maps), ...);
  return all.str();
}

TEST(Tables, HoldEveryParameterNameAndDefault) {
  auto offline = MixEngine::cOfflineParameterDefaultValues;
  EXPECT_EQ(std::bit_cast<std::uint32_t>(std::exchange(offline.at(80), 0.0F)), 0xFFFFFFFFU);
  const std::string all =
      printed(MixEngine::sMixProfileNames, MixEngine::sMixProfileCapabilities,
              MixEngine::cRTIn_ParameterNames, MixEngine::cRTIn_ParameterDefaultValues, offline,
              MixEngine::cStringNames, MixEngine::cStringDefaults, Settings::cParameterDefaults);
  EXPECT_EQ(checksum(all), 0x3263318e4fac3ba5U) << all;
}

TEST(Tables, HoldEveryLayoutAndSpeaker) {
  std::ostringstream all;
  for (const auto& [key, first] : cSpeakerLabels) {
    std::size_t count = 14;
    all << key;
    if (key != 23) {
      const MixLayout& layout = (key < 23 ? cMixLayouts : cVexoMaxLayouts).at(key);
      count = static_cast<std::size_t>(layout.channels + layout.lfeChannels);
      all << ' ' << layout.name << ' ' << layout.channels << ' ' << layout.lfeChannels << ' '
          << layout.layoutFlag << ' ' << (layout.nativeName != nullptr ? layout.nativeName : "-");
    }
    for (const Speaker& s : std::vector<Speaker>(first, first + count))
      all << ' ' << s.label << ',' << s.orderIndex << ',' << s.speakerId << ',' << s.azimuth << ','
          << s.elevation << ',' << s.nativeIndex;
    all << '\n';
  }
  EXPECT_EQ(checksum(all.str()), 0x706217874bbb68c3U) << all.str();
  EXPECT_EQ(cMixLayouts.size() + cVexoMaxLayouts.size() + 1, cSpeakerLabels.size());
  EXPECT_EQ(cVexoMaxSpeakerLabelArrays.size(), 4U);
  for (const auto& [key, speakers] : cVexoMaxSpeakerLabelArrays)
    EXPECT_EQ(cSpeakerLabels.at(key), speakers->data()) << key;
}

}  // namespace
