#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "tables/MixEngineTables.h"
#include "tables/SettingsTables.h"

namespace {

using namespace Vexo;

template <typename Map>
void expectKeys(const Map& map, int lowest, int highest) {
  ASSERT_FALSE(map.empty());
  EXPECT_EQ(static_cast<int>(map.begin()->first), lowest);
  EXPECT_EQ(static_cast<int>(map.rbegin()->first), highest);
  EXPECT_EQ(map.size(), static_cast<std::size_t>(highest - lowest + 1));
}

TEST(ParameterTables, EveryTableCoversItsIndexesWithoutGaps) {
  expectKeys(MixEngine::sMixProfileNames, 0, 4);
  expectKeys(MixEngine::sMixProfileCapabilities, 0, 4);
  expectKeys(MixEngine::cRTIn_ParameterNames, 0, 17);
  expectKeys(MixEngine::cRTIn_ParameterDefaultValues, 0, 17);
  expectKeys(MixEngine::cOfflineParameterDefaultValues, 32, 107);
  expectKeys(MixEngine::cStringNames, 0, 4);
  expectKeys(MixEngine::cStringDefaults, 0, 4);
  expectKeys(Settings::cParameterDefaults, 32, 41);
}

TEST(ParameterTables, NamesAreDistinctAndNotEmpty) {
  const auto expectDistinct = [](const auto& map) {
    std::set<std::string> names;
    for (const auto& [index, name] : map) {
      EXPECT_FALSE(name.empty()) << index;
      EXPECT_TRUE(names.insert(name).second) << name;
    }
  };
  expectDistinct(MixEngine::sMixProfileNames);
  expectDistinct(MixEngine::cRTIn_ParameterNames);
  expectDistinct(MixEngine::cStringNames);
}

TEST(ParameterTables, ThirtyFourOfflineDefaultsAreNotZeroAndOneOfThemIsNotSet) {
  const auto& defaults = MixEngine::cOfflineParameterDefaultValues;
  int nonZero = 0;
  for (const auto& [index, value] : defaults) {
    nonZero += value != 0.0f;
    EXPECT_EQ(std::isnan(value), index == 80) << index;
  }
  EXPECT_EQ(nonZero, 34);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(defaults.at(80)), 0xFFFFFFFFu);
  EXPECT_EQ(defaults.at(50), 1.0f);
  EXPECT_EQ(defaults.at(51), 1.0f);
}

TEST(ParameterTables, EveryProfileExportsFormatFiveAndOnlyNearFieldOnesAreFlagged) {
  for (const auto& [profile, capabilities] : MixEngine::sMixProfileCapabilities) {
    EXPECT_EQ(capabilities.exportFormats.count(MixEngine::eObjectExportFormat5), 1u) << profile;
    const bool nearField = MixEngine::sMixProfileNames.at(profile).starts_with("NearField");
    EXPECT_EQ(capabilities.profileFlag, nearField ? 1u : 0u) << profile;
    EXPECT_EQ(capabilities.exportFormats.count(MixEngine::eObjectExportFormat6),
              nearField ? 1u : 0u);
  }
}

TEST(ParameterTables, EveryPublishedNumberHasAWholeDefaultAndAPlaceOfItsOwn) {
  std::set<std::string> keys;
  std::set<int> parameters;
  int texts = 0;
  for (const Settings::PublishedSetting& setting : Settings::cPublishedSettings) {
    EXPECT_TRUE(keys.insert(setting.key).second) << setting.key;
    if (setting.isText) {
      ++texts;
      EXPECT_EQ(MixEngine::cStringDefaults.at(setting.index), "") << setting.key;
      continue;
    }
    EXPECT_TRUE(parameters.insert(setting.index).second) << setting.key;
    if (std::string(setting.key) == "SoloMode") continue;
    const float value = Settings::cParameterDefaults.at(setting.index);
    EXPECT_EQ(value, std::trunc(value)) << setting.key;
  }
  EXPECT_EQ(texts, 1);
}

}  // namespace
