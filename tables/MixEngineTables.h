// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

/// The mix engine's vocabulary.
namespace Vexo::MixEngine {

/// @addtogroup mix_tables
/// The constant vocabulary about the mix engine that a session's clients share: the mix profiles
/// and what each allows, the real-time input parameters, the defaults of the offline parameters,
/// and the shared strings. What the single profiles, limits, formats and parameters mean, and in
/// which units the parameters count, is the mix engine's business; only numbers, names and defaults
/// are fixed here.
///
/// All tables are built by static initialisation, in the order in which ParameterTables.cpp defines
/// them, and never change afterwards: after that any thread may look something up, the audio thread
/// too. They are constant, so look up with at() or find().
/// @{

/// Keys of the profiles' tables; the names in quotes are the display names.

enum eMixProfiles : std::int32_t {
  eMixProfileCinemaMax = 0,           ///< "Cinema VexoMax"
  eMixProfileCinema3D = 1,            ///< "Cinema Vexo 3D"
  eMixProfileNearFieldFull = 2,       ///< "NearField Full"
  eMixProfileNearFieldHome = 3,       ///< "NearField Home"
  eMixProfileNearFieldBroadcast = 4,  ///< "NearField Broadcast"
};

/// Object export formats, named by their numbers; only these five are in use.
enum eObjectExportFormats : std::int32_t {
  eObjectExportFormat0 = 0,    ///< 0
  eObjectExportFormat5 = 5,    ///< 5
  eObjectExportFormat6 = 6,    ///< 6
  eObjectExportFormat7 = 7,    ///< 7
  eObjectExportFormat11 = 11,  ///< 11
};

/// What one profile allows.
struct mixprofile {
  std::int32_t firstLimit;                       ///< a count
  std::int32_t secondLimit;                      ///< a count
  std::uint32_t profileFlag;                     ///< 0 or 1
  std::set<eObjectExportFormats> exportFormats;  ///< the export formats the profile allows
};

/// Display name of each profile.
extern const std::map<eMixProfiles, std::string> sMixProfileNames;
/// Capabilities of each profile.
extern const std::map<eMixProfiles, mixprofile> sMixProfileCapabilities;

/// Name of each real-time input parameter, by index 0 to 17.
extern const std::map<int, std::string> cRTIn_ParameterNames;
/// Default of each real-time input parameter.
extern const std::map<int, float> cRTIn_ParameterDefaultValues;

/// Default of each offline parameter from index 32 to 107. Index 80 is the float whose bits are all
/// ones, a NaN that marks a value that is not set.
extern const std::map<int, float> cOfflineParameterDefaultValues;

/// Name of each shared string, by slot 0 to 4. Slot 0 is also where the settings client
/// publishes the facility's name.
extern const std::map<int, std::string> cStringNames;
/// Default of each shared string.
extern const std::map<int, std::string> cStringDefaults;

/// @}

}  // namespace Vexo::MixEngine
