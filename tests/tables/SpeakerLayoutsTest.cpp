#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tables/SpeakerLayouts.h"

namespace {

using namespace LSS;

using Speakers = std::span<const Speaker>;

// Every array with its own length.
const std::vector<Speakers>& arrays() {
  static const std::vector<Speakers> all = {
      cSpeakerLabels_Mono_1_0,      cSpeakerLabels_Stereo_2_0,    cSpeakerLabels_LCR_3_0,
      cSpeakerLabels_LCRS_4_0,      cSpeakerLabels_2_2H,          cSpeakerLabels_Quad_4_0,
      cSpeakerLabels_Planar_5_0,    cSpeakerLabels_Planar_5_1,    cSpeakerLabels_Planar_6_0,
      cSpeakerLabels_Planar_6_1,    cSpeakerLabels_Planar_7_0,    cSpeakerLabels_Planar_7_1,
      cSpeakerLabels_Vexo_222,      cSpeakerLabels_Vexo_8_0,      cSpeakerLabels_Vexo_9_1,
      cSpeakerLabels_Vexo_10_1,     cSpeakerLabels_Vexo_11_1,     cSpeakerLabels_Vexo_11_1_740,
      cSpeakerLabels_Vexo_13_1_661, cSpeakerLabels_Vexo_13_1_751, cSpeakerLabels_DolbyAtmos_9_1,
      cSpeakerLabels_VexoMax_20_1,  cSpeakerLabels_VexoMax_22_1,  cSpeakerLabels_VexoMax_26_1,
      cSpeakerLabels_NHK_22_2};
  return all;
}

// The speakers of a key, as many as their array has; none for a pointer to anything else.
Speakers speakersOf(int key) {
  const Speaker* const first = cSpeakerLabels.at(key);
  const auto found =
      std::ranges::find_if(arrays(), [&](Speakers array) { return array.data() == first; });
  return found == arrays().end() ? Speakers() : *found;
}

bool isLarge(int key) {
  return cVexoMaxLayouts.contains(key);
}

bool isLfe(const Speaker& speaker) {
  return std::string(speaker.label).starts_with("LFE");
}

const Speaker* find(Speakers speakers, const std::string& label) {
  const auto found =
      std::ranges::find_if(speakers, [&](const Speaker& each) { return each.label == label; });
  return found == speakers.end() ? nullptr : &*found;
}

template <typename Map>
std::set<int> keysOf(const Map& map) {
  std::set<int> keys;
  for (const auto& [key, value] : map)
    keys.insert(key);
  return keys;
}

TEST(SpeakerLayouts, TheKeysHaveTheirGapsAndTheMapsAgree) {
  std::set<int> keys = keysOf(cMixLayouts);
  EXPECT_EQ(keys.size(), 22u);
  EXPECT_FALSE(keys.contains(20));
  EXPECT_EQ(*keys.begin(), 0);
  EXPECT_EQ(*keys.rbegin(), 22);
  EXPECT_EQ(keysOf(cVexoMaxLayouts), std::set({24, 25, 26, 27}));
  EXPECT_EQ(keysOf(cVexoMaxSpeakerLabelArrays), keysOf(cVexoMaxLayouts));
  keys.insert({23, 24, 25, 26, 27});
  EXPECT_EQ(keysOf(cSpeakerLabels), keys);
  for (const auto& [key, speakers] : cVexoMaxSpeakerLabelArrays) {
    EXPECT_EQ(cSpeakerLabels.at(key), speakers->data()) << key;
  }
}

TEST(SpeakerLayouts, TwoLayoutsHaveTwoKeys) {
  for (const auto& [key, other] : {std::pair(21, 16), std::pair(22, 18)}) {
    const MixLayout& layout = cMixLayouts.at(key);
    const MixLayout& same = cMixLayouts.at(other);
    EXPECT_STREQ(layout.name, same.name);
    EXPECT_EQ(layout.channels, same.channels);
    EXPECT_EQ(layout.lfeChannels, same.lfeChannels);
    EXPECT_EQ(layout.layoutFlag, same.layoutFlag);
    EXPECT_STREQ(layout.nativeName, same.nativeName);
    EXPECT_EQ(cSpeakerLabels.at(key), cSpeakerLabels.at(other));
  }
}

TEST(SpeakerLayouts, EveryLayoutHasAsManySpeakersAsItSaysAndEveryArrayALayout) {
  std::set<const Speaker*> used;
  for (const auto* layouts : {&cMixLayouts, &cVexoMaxLayouts}) {
    for (const auto& [key, layout] : *layouts) {
      const Speakers speakers = speakersOf(key);
      EXPECT_EQ(std::ssize(speakers), layout.channels + layout.lfeChannels) << key;
      EXPECT_EQ(std::ranges::count_if(speakers, isLfe), layout.lfeChannels) << key;
      used.insert(speakers.data());
    }
  }
  EXPECT_EQ(speakersOf(23).size(), 14u);
  used.insert(speakersOf(23).data());
  EXPECT_EQ(used.size(), arrays().size());
}

TEST(SpeakerLayouts, TheProcessingOrderHasEveryPlaceOnceAndGoesByLayers) {
  // Surround, front, height surround, height front, top, LFE: by kind.
  const std::map<int, int> layers = {{3, 0},  {4, 0},  {5, 0},  {6, 0},  {7, 0},  {0, 1},
                                     {1, 1},  {2, 1},  {12, 2}, {13, 2}, {15, 2}, {9, 3},
                                     {10, 3}, {11, 3}, {17, 4}, {27, 4}, {28, 4}, {8, 5}};
  for (const auto& [key, first] : cSpeakerLabels) {
    const Speakers speakers = speakersOf(key);
    std::map<int, Speaker> byPlace;
    for (const Speaker& speaker : speakers)
      byPlace[speaker.orderIndex] = speaker;
    ASSERT_EQ(byPlace.size(), speakers.size()) << key;
    EXPECT_EQ(byPlace.begin()->first, 0) << key;
    EXPECT_EQ(byPlace.rbegin()->first, std::ssize(speakers) - 1) << key;
    if (isLarge(key)) {
      EXPECT_TRUE(isLfe(byPlace[20])) << key;
      continue;
    }
    int layer = 0;
    for (const auto& [place, speaker] : byPlace) {
      EXPECT_GE(layers.at(speaker.speakerId), layer) << key << ' ' << speaker.label;
      layer = layers.at(speaker.speakerId);
    }
  }
}

TEST(SpeakerLayouts, ALabelIsOneKindAndOneHeightInEveryLayout) {
  std::map<std::string, Speaker> known;
  std::map<int, std::set<std::string>> labels;  // of a kind
  for (const Speakers speakers : arrays()) {
    const bool hasOwnLabels = find(speakers, "FL") != nullptr;
    std::set<int> kinds;
    for (const Speaker& speaker : speakers) {
      const Speaker& same = known.emplace(speaker.label, speaker).first->second;
      EXPECT_EQ(speaker.speakerId, same.speakerId) << speaker.label;
      EXPECT_EQ(speaker.elevation, same.elevation) << speaker.label;
      EXPECT_TRUE(kinds.insert(speaker.speakerId).second) << speaker.label;
      if (!hasOwnLabels) labels[speaker.speakerId].insert(speaker.label);
    }
  }
  std::erase_if(labels, [](const auto& kind) { return kind.second.size() == 1; });
  const std::map<int, std::set<std::string>> ofTwoLabels = {
      {1, {"C", "M"}},  {3, {"Ls", "Ls(s)"}}, {4, {"Rs", "Rs(s)"}},
      {6, {"Cs", "S"}}, {27, {"Lts", "TL"}},  {28, {"Rts", "TR"}}};
  EXPECT_EQ(labels, ofTwoLabels);
  EXPECT_EQ(known.at("BrFC").elevation, known.at("BtFL").elevation);
}

TEST(SpeakerLayouts, LeftAndRightMirrorEachOtherAndTheRestIsInTheMiddle) {
  for (const auto& [key, first] : cSpeakerLabels) {
    const Speakers speakers = speakersOf(key);
    for (const Speaker& speaker : speakers) {
      const std::string label = speaker.label;
      const bool isRear = label == "Lsr" || label == "Rsr";
      if (isLfe(speaker) || label.find_first_of("LR") == std::string::npos) {
        EXPECT_TRUE(speaker.azimuth == 0 || speaker.azimuth == 180) << key << ' ' << label;
        continue;
      }
      EXPECT_EQ(speaker.azimuth == 0, key == 19 && isRear) << key << ' ' << label;
      if (label.find('L') == std::string::npos) continue;
      std::string mirrored = label;
      std::ranges::replace(mirrored, 'L', 'R');
      const Speaker* const right = find(speakers, mirrored);
      ASSERT_TRUE(right != nullptr) << key << ' ' << label;
      EXPECT_GE(speaker.azimuth, 0) << key << ' ' << label;
      EXPECT_EQ(right->azimuth, -speaker.azimuth) << key << ' ' << label;
      EXPECT_EQ(right->elevation, speaker.elevation) << key << ' ' << label;
      EXPECT_LT(&speaker, right) << key << ' ' << label;
      EXPECT_LT(speaker.orderIndex, right->orderIndex) << key << ' ' << label;
    }
    if (const Speaker* const side = find(speakers, "Ls(s)")) {
      EXPECT_EQ(side->azimuth, key == 11 || key == 19 ? 110 : 90) << key;
    }
  }
}

TEST(SpeakerLayouts, ANativeIndexIsTheLabelsPlaceInTheNativeOrder) {
  const std::vector<std::string> order = {"L",  "R",   "Ls",  "Rs", "C",  "LFE", "HL",
                                          "HR", "HLs", "HRs", "T",  "HC", "Cs",  "HCs"};
  const std::set<int> native = {7, 14, 15, 16, 21, 23};
  for (const auto& [key, first] : cSpeakerLabels) {
    for (const Speaker& speaker : speakersOf(key)) {
      const bool hasIndex = native.contains(key) || (key == 17 && isLfe(speaker));
      const auto place = std::ranges::find(order, speaker.label) - order.begin();
      EXPECT_EQ(speaker.nativeIndex, hasIndex ? place : -1) << key << ' ' << speaker.label;
    }
  }
}

}  // namespace
