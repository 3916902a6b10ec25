// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <type_traits>
#include <vector>

/// The speaker layouts.
namespace LSS {

/// @addtogroup layouts
/// The speaker layouts that a session's clients agree on. A layout is named everywhere by its key,
/// an integer that never changes: cMixLayouts and cVexoMaxLayouts give its names and counts,
/// cSpeakerLabels its speakers.
///
///     cMixLayouts      keys 0 to 19, 21 and 22
///     cVexoMaxLayouts  keys 24 to 27, the large layouts
///     cSpeakerLabels   all of these, and 23: speakers without a layout's row
///
/// All tables are built by static initialisation, in the order in which SpeakerLayouts.cpp defines
/// them, and never change afterwards: after that any thread may look something up, the audio thread
/// too. They are constant, so look up with at() or find().
/// @{

/// One loudspeaker of a layout.
///
/// The kinds, the same number in every layout, the large ones' labels in brackets:
///
///     0 L   1 C, and M of Mono   2 R   3 Ls   4 Rs   5 Lsr   6 Cs and S   7 Rsr   8 LFE
///     9 HL  10 HC  11 HR  12 HLs  13 HRs  15 HCs  17 T  27 Lts (TL)  28 Rts (TR)
///
/// In the large layouts only:
///
///     14 HLsr   16 HRsr   18 BtFL   19 BrFC   20 BtFR   21 FLc    22 FRc    23 Lw     24 Rw
///     25 HLw    26 HRw    31 LFE1   32 LFE2   33 Lssf   34 Rssf   35 Lssb   36 Rssb
///     37 HLssf  38 HRssf  39 HLssb  40 HRssb  41 TLf    42 TRf    43 TLb    44 TRb
///
/// "NHK 22.2" has labels of its own for kinds 0 to 17.
///
/// The processing order of cMixLayouts' layouts: surround, front, height surround, height front,
/// top, LFE. "VexoMax 20.1" is processed in channel order, and the larger ones keep its places:
/// after its LFE, at 20, "VexoMax 22.1" and "VexoMax 26.1" have TLb TRb, and the latter then Lw Rw
/// HLw HRw. "NHK 22.2" has an order of its own: FL FC FR SiL SiR BC TpBC BL BR TpFL TpFC TpFR TpSiL
/// TpSiR TpC BrFC TpBL TpBR BtFL BtFR LFE1 FLc FRc LFE2.
///
/// The Vexo native channel order:
///
///     0 L  1 R  2 Ls  3 Rs  4 C  5 LFE  6 HL  7 HR  8 HLs  9 HRs  10 T  11 HC  12 Cs  13 HCs
struct Speaker {
  char label[8];             ///<  0  short name, ends with a NUL
  std::int32_t orderIndex;   ///<  8  place in the layout's processing order, from 0, each once
  std::int32_t speakerId;    ///< 12  kind
  float azimuth;             ///< 16  degrees, positive to the left, 0 straight ahead
  float elevation;           ///< 20  degrees, 0 at ear height, 90 straight up
  std::int32_t nativeIndex;  ///< 24  channel in the Vexo native channel order, -1: none
};
static_assert(sizeof(Speaker) == 28);
static_assert(offsetof(Speaker, orderIndex) == 8);
static_assert(offsetof(Speaker, speakerId) == 12);
static_assert(offsetof(Speaker, azimuth) == 16);
static_assert(offsetof(Speaker, elevation) == 20);
static_assert(offsetof(Speaker, nativeIndex) == 24);
static_assert(std::is_standard_layout_v<Speaker>);

/// One layout. It has `channels` + `lfeChannels` speakers.
struct MixLayout {
  const char* name;          ///<  0  display name
  std::int32_t channels;     ///<  8  full-range channels
  std::int32_t lfeChannels;  ///< 12  LFE channels
  std::int32_t layoutFlag;   ///< 16  0 or 1; what it says is the mix engine's business
  const char* nativeName;    ///< 24  name in the Vexo native naming, or null
};
static_assert(sizeof(MixLayout) == 32);
static_assert(offsetof(MixLayout, channels) == 8);
static_assert(offsetof(MixLayout, lfeChannels) == 12);
static_assert(offsetof(MixLayout, layoutFlag) == 16);
static_assert(offsetof(MixLayout, nativeName) == 24);
static_assert(std::is_standard_layout_v<MixLayout>);

/// The layouts by key, 0 to 19, 21 and 22.
extern const std::map<int, MixLayout> cMixLayouts;
/// The large layouts by key, 24 to 27.
extern const std::map<int, MixLayout> cVexoMaxLayouts;

/// @name The speakers of each layout, in channel order
/// @{
extern const Speaker cSpeakerLabels_Mono_1_0[1];         ///< key 0
extern const Speaker cSpeakerLabels_Stereo_2_0[2];       ///< key 1
extern const Speaker cSpeakerLabels_LCR_3_0[3];          ///< key 2
extern const Speaker cSpeakerLabels_LCRS_4_0[4];         ///< key 3
extern const Speaker cSpeakerLabels_2_2H[4];             ///< key 5
extern const Speaker cSpeakerLabels_Quad_4_0[4];         ///< key 4
extern const Speaker cSpeakerLabels_Planar_5_0[5];       ///< key 6
extern const Speaker cSpeakerLabels_Planar_5_1[6];       ///< key 7
extern const Speaker cSpeakerLabels_Planar_6_0[6];       ///< key 8
extern const Speaker cSpeakerLabels_Planar_6_1[7];       ///< key 9
extern const Speaker cSpeakerLabels_Planar_7_0[7];       ///< key 10
extern const Speaker cSpeakerLabels_Planar_7_1[8];       ///< key 11
extern const Speaker cSpeakerLabels_Vexo_222[6];         ///< key 12
extern const Speaker cSpeakerLabels_Vexo_8_0[8];         ///< key 13
extern const Speaker cSpeakerLabels_Vexo_9_1[10];        ///< key 14
extern const Speaker cSpeakerLabels_Vexo_10_1[11];       ///< key 15
extern const Speaker cSpeakerLabels_Vexo_11_1[12];       ///< keys 16 and 21
extern const Speaker cSpeakerLabels_Vexo_11_1_740[12];   ///< key 17
extern const Speaker cSpeakerLabels_Vexo_13_1_661[14];   ///< key 23
extern const Speaker cSpeakerLabels_Vexo_13_1_751[14];   ///< keys 18 and 22
extern const Speaker cSpeakerLabels_DolbyAtmos_9_1[10];  ///< key 19

extern const std::vector<Speaker> cSpeakerLabels_VexoMax_20_1;  ///< key 24
extern const std::vector<Speaker> cSpeakerLabels_VexoMax_22_1;  ///< key 25
extern const std::vector<Speaker> cSpeakerLabels_VexoMax_26_1;  ///< key 26
extern const std::vector<Speaker> cSpeakerLabels_NHK_22_2;      ///< key 27

/// @}

/// The first speaker of a layout by key; the layout's counts say how many follow. Key 23 is
/// cSpeakerLabels_Vexo_13_1_661.
extern const std::map<int, const Speaker*> cSpeakerLabels;

/// The speakers of a large layout by key.
extern const std::map<int, const std::vector<Speaker>*> cVexoMaxSpeakerLabelArrays;

/// @}

}  // namespace LSS
