// SPDX-License-Identifier: BSL-1.0

// The fixed speaker arrays, in channel order. They are constant data and need no construction, so
// they are there before any table that points at them.
//
// A row is one speaker:
//   label        short name
//   orderIndex   place in the processing order
//   speakerId    the speaker's kind
//   azimuth      degrees, positive to the left, 0 straight ahead
//   elevation    degrees, 0 at ear height, 90 straight up
//   nativeIndex  channel in the Vexo native channel order, -1: none

#include "tables/SpeakerLayouts.h"

namespace LSS {

// clang-format off
// label, orderIndex, speakerId, azimuth, elevation, nativeIndex

constexpr Speaker cSpeakerLabels_Mono_1_0[1] = {
  {"M",      0,  1,    0,   0, -1},
};

constexpr Speaker cSpeakerLabels_Stereo_2_0[2] = {
  {"L",      0,  0,   30,   0, -1},
  {"R",      1,  2,  -30,   0, -1},
};

constexpr Speaker cSpeakerLabels_LCR_3_0[3] = {
  {"L",      0,  0,   30,   0, -1},
  {"C",      1,  1,    0,   0, -1},
  {"R",      2,  2,  -30,   0, -1},
};

constexpr Speaker cSpeakerLabels_LCRS_4_0[4] = {
  {"L",      1,  0,   30,   0, -1},
  {"C",      2,  1,    0,   0, -1},
  {"R",      3,  2,  -30,   0, -1},
  {"S",      0,  6,  180,   0, -1},
};

constexpr Speaker cSpeakerLabels_2_2H[4] = {
  {"L",      0,  0,   30,   0, -1},
  {"R",      1,  2,  -30,   0, -1},
  {"HL",     2,  9,   30,  30, -1},
  {"HR",     3, 11,  -30,  30, -1},
};

constexpr Speaker cSpeakerLabels_Quad_4_0[4] = {
  {"L",      2,  0,   30,   0, -1},
  {"R",      3,  2,  -30,   0, -1},
  {"Ls",     0,  3,  150,   0, -1},
  {"Rs",     1,  4, -150,   0, -1},
};

constexpr Speaker cSpeakerLabels_Planar_5_0[5] = {
  {"L",      2,  0,   30,   0, -1},
  {"C",      3,  1,    0,   0, -1},
  {"R",      4,  2,  -30,   0, -1},
  {"Ls",     0,  3,  110,   0, -1},
  {"Rs",     1,  4, -110,   0, -1},
};

constexpr Speaker cSpeakerLabels_Planar_5_1[6] = {
  {"L",      2,  0,   30,   0,  0},
  {"C",      3,  1,    0,   0,  4},
  {"R",      4,  2,  -30,   0,  1},
  {"Ls",     0,  3,  110,   0,  2},
  {"Rs",     1,  4, -110,   0,  3},
  {"LFE",    5,  8,    0,   0,  5},
};

constexpr Speaker cSpeakerLabels_Planar_6_0[6] = {
  {"L",      3,  0,   30,   0, -1},
  {"C",      4,  1,    0,   0, -1},
  {"R",      5,  2,  -30,   0, -1},
  {"Ls",     0,  3,  110,   0, -1},
  {"Cs",     1,  6,  180,   0, -1},
  {"Rs",     2,  4, -110,   0, -1},
};

constexpr Speaker cSpeakerLabels_Planar_6_1[7] = {
  {"L",      3,  0,   30,   0, -1},
  {"C",      4,  1,    0,   0, -1},
  {"R",      5,  2,  -30,   0, -1},
  {"Ls",     0,  3,  110,   0, -1},
  {"Cs",     1,  6,  180,   0, -1},
  {"Rs",     2,  4, -110,   0, -1},
  {"LFE",    6,  8,    0,   0, -1},
};

constexpr Speaker cSpeakerLabels_Planar_7_0[7] = {
  {"L",      4,  0,   30,   0, -1},
  {"C",      5,  1,    0,   0, -1},
  {"R",      6,  2,  -30,   0, -1},
  // deliberate: the sides stand at 90 degrees here, at 110 in Planar_7_1.
  {"Ls(s)",  2,  3,   90,   0, -1},
  {"Rs(s)",  3,  4,  -90,   0, -1},
  {"Lsr",    0,  5,  150,   0, -1},
  {"Rsr",    1,  7, -150,   0, -1},
};

constexpr Speaker cSpeakerLabels_Planar_7_1[8] = {
  {"L",      4,  0,   30,   0, -1},
  {"C",      5,  1,    0,   0, -1},
  {"R",      6,  2,  -30,   0, -1},
  // deliberate: the sides stand at 110 degrees here, at 90 in Planar_7_0.
  {"Ls(s)",  2,  3,  110,   0, -1},
  {"Rs(s)",  3,  4, -110,   0, -1},
  {"Lsr",    0,  5,  150,   0, -1},
  {"Rsr",    1,  7, -150,   0, -1},
  {"LFE",    7,  8,    0,   0, -1},
};

constexpr Speaker cSpeakerLabels_Vexo_222[6] = {
  {"L",      2,  0,   30,   0, -1},
  {"R",      3,  2,  -30,   0, -1},
  {"Ls",     0,  3,  110,   0, -1},
  {"Rs",     1,  4, -110,   0, -1},
  {"HL",     4,  9,   30,  30, -1},
  {"HR",     5, 11,  -30,  30, -1},
};

constexpr Speaker cSpeakerLabels_Vexo_8_0[8] = {
  {"L",      2,  0,   30,   0, -1},
  {"R",      3,  2,  -30,   0, -1},
  {"Ls",     0,  3,  110,   0, -1},
  {"Rs",     1,  4, -110,   0, -1},
  {"HL",     6,  9,   30,  30, -1},
  {"HR",     7, 11,  -30,  30, -1},
  {"HLs",    4, 12,  110,  30, -1},
  {"HRs",    5, 13, -110,  30, -1},
};

constexpr Speaker cSpeakerLabels_Vexo_9_1[10] = {
  {"L",      2,  0,   30,   0,  0},
  {"C",      3,  1,    0,   0,  4},
  {"R",      4,  2,  -30,   0,  1},
  {"Ls",     0,  3,  110,   0,  2},
  {"Rs",     1,  4, -110,   0,  3},
  {"LFE",    9,  8,    0,   0,  5},
  {"HL",     7,  9,   30,  30,  6},
  {"HR",     8, 11,  -30,  30,  7},
  {"HLs",    5, 12,  110,  30,  8},
  {"HRs",    6, 13, -110,  30,  9},
};

constexpr Speaker cSpeakerLabels_Vexo_10_1[11] = {
  {"L",      2,  0,   30,   0,  0},
  {"C",      3,  1,    0,   0,  4},
  {"R",      4,  2,  -30,   0,  1},
  {"Ls",     0,  3,  110,   0,  2},
  {"Rs",     1,  4, -110,   0,  3},
  {"LFE",   10,  8,    0,   0,  5},
  {"HL",     7,  9,   30,  30,  6},
  {"HR",     8, 11,  -30,  30,  7},
  {"HLs",    5, 12,  110,  30,  8},
  {"HRs",    6, 13, -110,  30,  9},
  {"T",      9, 17,    0,  90, 10},
};

constexpr Speaker cSpeakerLabels_Vexo_11_1[12] = {
  {"L",      2,  0,   30,   0,  0},
  {"C",      3,  1,    0,   0,  4},
  {"R",      4,  2,  -30,   0,  1},
  {"Ls",     0,  3,  110,   0,  2},
  {"Rs",     1,  4, -110,   0,  3},
  {"LFE",   11,  8,    0,   0,  5},
  {"HL",     7,  9,   30,  30,  6},
  {"HC",     8, 10,    0,  30, 11},
  {"HR",     9, 11,  -30,  30,  7},
  {"HLs",    5, 12,  110,  30,  8},
  {"HRs",    6, 13, -110,  30,  9},
  {"T",     10, 17,    0,  90, 10},
};

constexpr Speaker cSpeakerLabels_Vexo_11_1_740[12] = {
  {"L",      4,  0,   30,   0, -1},
  {"C",      5,  1,    0,   0, -1},
  {"R",      6,  2,  -30,   0, -1},
  // deliberate: the sides stand at 90 degrees, as in Planar_7_0.
  {"Ls(s)",  2,  3,   90,   0, -1},
  {"Rs(s)",  3,  4,  -90,   0, -1},
  {"Lsr",    0,  5,  150,   0, -1},
  {"Rsr",    1,  7, -150,   0, -1},
  // deliberate: the LFE alone has a native channel here.
  {"LFE",   11,  8,    0,   0,  5},
  {"HL",     9,  9,   30,  30, -1},
  {"HR",    10, 11,  -30,  30, -1},
  {"HLs",    7, 12,   90,  30, -1},
  {"HRs",    8, 13,  -90,  30, -1},
};

constexpr Speaker cSpeakerLabels_Vexo_13_1_661[14] = {
  {"L",      3,  0,   30,   0,  0},
  {"C",      4,  1,    0,   0,  4},
  {"R",      5,  2,  -30,   0,  1},
  {"Ls",     0,  3,  110,   0,  2},
  {"Cs",     1,  6,  180,   0, 12},
  {"Rs",     2,  4, -110,   0,  3},
  {"LFE",   13,  8,    0,   0,  5},
  {"HL",     9,  9,   30,  30,  6},
  {"HC",    10, 10,    0,  30, 11},
  {"HR",    11, 11,  -30,  30,  7},
  {"HLs",    6, 12,  110,  30,  8},
  {"HCs",    7, 15,  180,  30, 13},
  {"HRs",    8, 13, -110,  30,  9},
  {"T",     12, 17,    0,  90, 10},
};

constexpr Speaker cSpeakerLabels_Vexo_13_1_751[14] = {
  {"L",      4,  0,   30,   0, -1},
  {"C",      5,  1,    0,   0, -1},
  {"R",      6,  2,  -30,   0, -1},
  // deliberate: the sides stand at 90 degrees, as in Planar_7_0.
  {"Ls(s)",  2,  3,   90,   0, -1},
  {"Rs(s)",  3,  4,  -90,   0, -1},
  {"Lsr",    0,  5,  150,   0, -1},
  {"Rsr",    1,  7, -150,   0, -1},
  {"LFE",   13,  8,    0,   0, -1},
  {"HL",     9,  9,   30,  30, -1},
  {"HC",    10, 10,    0,  30, -1},
  {"HR",    11, 11,  -30,  30, -1},
  {"HLs",    7, 12,   90,  30, -1},
  {"HRs",    8, 13,  -90,  30, -1},
  {"T",     12, 17,    0,  90, -1},
};

constexpr Speaker cSpeakerLabels_DolbyAtmos_9_1[10] = {
  {"L",      4,  0,   30,   0, -1},
  {"C",      5,  1,    0,   0, -1},
  {"R",      6,  2,  -30,   0, -1},
  // deliberate: the sides stand at 110 degrees, as in Planar_7_1.
  {"Ls(s)",  2,  3,  110,   0, -1},
  {"Rs(s)",  3,  4, -110,   0, -1},
  // deliberate: both rear speakers have the direction 0, 0.
  {"Lsr",    0,  5,    0,   0, -1},
  {"Rsr",    1,  7,    0,   0, -1},
  {"LFE",    9,  8,    0,   0, -1},
  {"Lts",    7, 27,   90,  60, -1},
  {"Rts",    8, 28,  -90,  60, -1},
};
// clang-format on

}  // namespace LSS
