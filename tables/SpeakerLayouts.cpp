// SPDX-License-Identifier: BSL-1.0

// The layouts, the speakers of the large ones, and what leads from a key to its speakers: in one
// translation unit, because the order of definition is the order of construction. The last two maps
// point into the vectors.

#include "tables/SpeakerLayouts.h"

namespace LSS {

// clang-format off
const std::map<int, MixLayout> cMixLayouts = {
  // key, name, channels, lfeChannels, layoutFlag, nativeName
  { 0, {"Mono",                  1, 0, 0, nullptr}},
  { 1, {"Stereo",                2, 0, 0, nullptr}},
  { 2, {"LCR",                   3, 0, 1, nullptr}},
  { 3, {"LCRS",                  4, 0, 1, nullptr}},
  { 4, {"Quad",                  4, 0, 1, "Vexo_4_0_Quad"}},
  { 5, {"OnScreen 2+2H",         4, 0, 0, nullptr}},
  { 6, {"Surround 5.0",          5, 0, 1, "Vexo_5_0"}},
  { 7, {"Surround 5.1",          5, 1, 1, "Vexo_5_1"}},
  { 8, {"Surround 6.0",          6, 0, 1, "Vexo_6_0_Quad"}},
  { 9, {"Surround 6.1",          6, 1, 1, nullptr}},
  {10, {"Surround 7.0",          7, 0, 1, nullptr}},
  {11, {"Surround 7.1",          7, 1, 1, nullptr}},
  {12, {"Vexo-222",              6, 0, 1, "Vexo_222_Stereo"}},
  {13, {"Vexo 8.0",              8, 0, 1, "Vexo_8_0_Quad"}},
  {14, {"Vexo 9.1",              9, 1, 1, "Vexo_9_1"}},
  {15, {"Vexo 10.1",            10, 1, 1, "Vexo_10_1"}},
  {16, {"Vexo 11.1",            11, 1, 1, "Vexo_11_1"}},
  {17, {"Vexo 11.1 (7.1+4H)",   11, 1, 1, "Vexo_11_1_Ext_B"}},
  {18, {"Vexo 13.1 (7.1+5H+T)", 13, 1, 1, "Vexo_13_1_Ext_B"}},
  {19, {"Atmos",                 9, 1, 0, nullptr}},
  // deliberate: no key 20; 21 and 22 repeat 16 and 18. Participants exchange these numbers.
  {21, {"Vexo 11.1",            11, 1, 1, "Vexo_11_1"}},
  {22, {"Vexo 13.1 (7.1+5H+T)", 13, 1, 1, "Vexo_13_1_Ext_B"}},
};

const std::map<int, MixLayout> cVexoMaxLayouts = {
  // key, name, channels, lfeChannels, layoutFlag, nativeName
  {24, {"VexoMax 20.1", 20, 1, 0, nullptr}},
  {25, {"VexoMax 22.1", 22, 1, 0, nullptr}},
  {26, {"VexoMax 26.1", 26, 1, 0, nullptr}},
  {27, {"NHK 22.2",     22, 2, 0, nullptr}},
};

// A row is one speaker, as in SpeakerArrays.cpp; angles in degrees. None of these layouts has a
// place in the native channel order.
// label, orderIndex, speakerId, azimuth, elevation, nativeIndex

const std::vector<Speaker> cSpeakerLabels_VexoMax_20_1 = {
  {"L",      0,  0,   30,   0, -1},
  {"C",      1,  1,    0,   0, -1},
  {"R",      2,  2,  -30,   0, -1},
  {"Lssf",   3, 33,   60,   0, -1},
  {"Rssf",   4, 34,  -60,   0, -1},
  {"Lssb",   5, 35,  110,   0, -1},
  {"Rssb",   6, 36, -110,   0, -1},
  {"Lsr",    7,  5,  150,   0, -1},
  {"Rsr",    8,  7, -150,   0, -1},
  {"HL",     9,  9,   30,  30, -1},
  {"HC",    10, 10,    0,  30, -1},
  {"HR",    11, 11,  -30,  30, -1},
  {"HLssf", 12, 37,   60,  30, -1},
  {"HRssf", 13, 38,  -60,  30, -1},
  {"HLssb", 14, 39,  110,  30, -1},
  {"HRssb", 15, 40, -110,  30, -1},
  {"HLsr",  16, 14,  150,  30, -1},
  {"HRsr",  17, 16, -150,  30, -1},
  {"TL",    18, 27,   90,  60, -1},
  {"TR",    19, 28,  -90,  60, -1},
  {"LFE",   20,  8,    0,   0, -1},
};

const std::vector<Speaker> cSpeakerLabels_VexoMax_22_1 = {
  {"L",      0,  0,   30,   0, -1},
  {"C",      1,  1,    0,   0, -1},
  {"R",      2,  2,  -30,   0, -1},
  {"Lssf",   3, 33,   60,   0, -1},
  {"Rssf",   4, 34,  -60,   0, -1},
  {"Lssb",   5, 35,  110,   0, -1},
  {"Rssb",   6, 36, -110,   0, -1},
  {"Lsr",    7,  5,  150,   0, -1},
  {"Rsr",    8,  7, -150,   0, -1},
  {"HL",     9,  9,   30,  30, -1},
  {"HC",    10, 10,    0,  30, -1},
  {"HR",    11, 11,  -30,  30, -1},
  {"HLssf", 12, 37,   60,  30, -1},
  {"HRssf", 13, 38,  -60,  30, -1},
  {"HLssb", 14, 39,  110,  30, -1},
  {"HRssb", 15, 40, -110,  30, -1},
  {"HLsr",  16, 14,  150,  30, -1},
  {"HRsr",  17, 16, -150,  30, -1},
  {"TLf",   18, 41,   60,  60, -1},
  {"TRf",   19, 42,  -60,  60, -1},
  {"TLb",   21, 43,  110,  60, -1},
  {"TRb",   22, 44, -110,  60, -1},
  // deliberate: the LFE keeps the place 20 that it has in VexoMax_20_1; TLb and TRb come after it.
  {"LFE",   20,  8,    0,   0, -1},
};

const std::vector<Speaker> cSpeakerLabels_VexoMax_26_1 = {
  {"L",      0,  0,   30,   0, -1},
  {"C",      1,  1,    0,   0, -1},
  {"R",      2,  2,  -30,   0, -1},
  {"Lw",    23, 23,   40,   0, -1},
  {"Rw",    24, 24,  -40,   0, -1},
  {"Lssf",   3, 33,   60,   0, -1},
  {"Rssf",   4, 34,  -60,   0, -1},
  {"Lssb",   5, 35,  110,   0, -1},
  {"Rssb",   6, 36, -110,   0, -1},
  {"Lsr",    7,  5,  150,   0, -1},
  {"Rsr",    8,  7, -150,   0, -1},
  {"HL",     9,  9,   30,  30, -1},
  {"HC",    10, 10,    0,  30, -1},
  {"HR",    11, 11,  -30,  30, -1},
  {"HLw",   25, 25,   40,  30, -1},
  {"HRw",   26, 26,  -40,  30, -1},
  {"HLssf", 12, 37,   60,  30, -1},
  {"HRssf", 13, 38,  -60,  30, -1},
  {"HLssb", 14, 39,  110,  30, -1},
  {"HRssb", 15, 40, -110,  30, -1},
  {"HLsr",  16, 14,  150,  30, -1},
  {"HRsr",  17, 16, -150,  30, -1},
  {"TLf",   18, 41,   60,  60, -1},
  {"TRf",   19, 42,  -60,  60, -1},
  {"TLb",   21, 43,  110,  60, -1},
  {"TRb",   22, 44, -110,  60, -1},
  // deliberate: the LFE keeps the place 20, as in VexoMax_22_1.
  {"LFE",   20,  8,    0,   0, -1},
};

const std::vector<Speaker> cSpeakerLabels_NHK_22_2 = {
  {"FL",     0,  0,   30,   0, -1},
  {"FC",     1,  1,    0,   0, -1},
  {"FR",     2,  2,  -30,   0, -1},
  {"FLc",   21, 21,   40,   0, -1},
  {"FRc",   22, 22,  -40,   0, -1},
  {"SiL",    3,  3,  110,   0, -1},
  {"SiR",    4,  4, -110,   0, -1},
  {"BL",     7,  5,  150,   0, -1},
  {"BR",     8,  7, -150,   0, -1},
  {"BC",     5,  6,  180,   0, -1},
  {"TpFL",   9,  9,   30,  30, -1},
  {"TpFC",  10, 10,    0,  30, -1},
  {"TpFR",  11, 11,  -30,  30, -1},
  {"TpC",   14, 17,    0,  90, -1},
  {"TpSiL", 12, 12,  110,  30, -1},
  {"TpSiR", 13, 13, -110,  30, -1},
  {"TpBL",  16, 14,  150,  30, -1},
  {"TpBR",  17, 16, -150,  30, -1},
  {"TpBC",   6, 15,  180,  30, -1},
  {"BtFL",  18, 18,   30, -30, -1},
  {"BtFR",  19, 20,  -30, -30, -1},
  // deliberate: "BrFC", beside "BtFL" and "BtFR".
  {"BrFC",  15, 19,    0, -30, -1},
  {"LFE1",  20, 31,    0,   0, -1},
  {"LFE2",  23, 32,    0,   0, -1},
};

const std::map<int, const Speaker*> cSpeakerLabels = {
  // key, first speaker
  { 0, cSpeakerLabels_Mono_1_0},
  { 1, cSpeakerLabels_Stereo_2_0},
  { 2, cSpeakerLabels_LCR_3_0},
  { 3, cSpeakerLabels_LCRS_4_0},
  { 4, cSpeakerLabels_Quad_4_0},
  { 5, cSpeakerLabels_2_2H},
  { 6, cSpeakerLabels_Planar_5_0},
  { 7, cSpeakerLabels_Planar_5_1},
  { 8, cSpeakerLabels_Planar_6_0},
  { 9, cSpeakerLabels_Planar_6_1},
  {10, cSpeakerLabels_Planar_7_0},
  {11, cSpeakerLabels_Planar_7_1},
  {12, cSpeakerLabels_Vexo_222},
  {13, cSpeakerLabels_Vexo_8_0},
  {14, cSpeakerLabels_Vexo_9_1},
  {15, cSpeakerLabels_Vexo_10_1},
  {16, cSpeakerLabels_Vexo_11_1},
  {17, cSpeakerLabels_Vexo_11_1_740},
  {18, cSpeakerLabels_Vexo_13_1_751},
  {19, cSpeakerLabels_DolbyAtmos_9_1},
  {21, cSpeakerLabels_Vexo_11_1},
  {22, cSpeakerLabels_Vexo_13_1_751},
  // deliberate: these speakers have a key, but no row in cMixLayouts.
  {23, cSpeakerLabels_Vexo_13_1_661},
  {24, cSpeakerLabels_VexoMax_20_1.data()},
  {25, cSpeakerLabels_VexoMax_22_1.data()},
  {26, cSpeakerLabels_VexoMax_26_1.data()},
  {27, cSpeakerLabels_NHK_22_2.data()},
};

const std::map<int, const std::vector<Speaker>*> cVexoMaxSpeakerLabelArrays = {
  // key, speakers
  {24, &cSpeakerLabels_VexoMax_20_1},
  {25, &cSpeakerLabels_VexoMax_22_1},
  {26, &cSpeakerLabels_VexoMax_26_1},
  {27, &cSpeakerLabels_NHK_22_2},
};
// clang-format on

}  // namespace LSS
