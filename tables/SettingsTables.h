// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <array>
#include <map>

/// The machine's settings.
namespace Vexo::Settings {

/// @addtogroup settings_tables
/// What the settings client publishes in a session: the defaults of the settings parameters, and
/// the list of the settings themselves with the places they go to.
///
/// deliberate: the defaults here differ from the mix engine's for the same indexes (32, for
/// example, is 0 here and 2 there), because each table serves its own reader.
/// @{

/// Default by offline parameter index, 32 to 41. A default becomes a whole number by truncation
/// toward zero.
///
/// Built by static initialisation, after the mix engine's tables. It is not const because its
/// reader uses the map's subscript, which inserts 0 under a missing key: use it from one thread, or
/// with the keys of published settings only, all of which are present.
extern std::map<int, float> cParameterDefaults;

/// The default of "SoloMode", which has no number in cParameterDefaults.
inline constexpr int cSoloModeDefault = 0;
/// The default of "Facility".
inline constexpr const char* cFacilityDefault = "Standard-Surround";

/// The default of a numeric setting, by its offline parameter index, as it is published. 0 for an
/// index that is no setting's.
int defaultOf(int parameter);

/// One setting, and where its value stands in the settings client's row.
struct PublishedSetting {
  const char* key;  ///< in the settings file
  bool isText;      ///< published as a shared string, otherwise as an offline parameter
  int index;        ///< offline parameter index, or string slot when isText
};

/// In the order in which they are read and published.
// clang-format off
inline constexpr std::array<PublishedSetting, 7> cPublishedSettings = {{
  // key                                isText  index
  {"SoloMode",                          false,      4},
  {"Facility",                          true,       0},
  {"HdxAuxTrackDelaySetting",           false,     32},
  {"DAWLinkControlSetting",             false,     33},
  {"LatencyCompensationControlSetting", false,     40},
  {"defaultPannerObjects",              false,     37},
  {"PhysMonConfig",                     false,     41},
}};
// clang-format on

/// @}

}  // namespace Vexo::Settings
