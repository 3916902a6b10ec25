// SPDX-License-Identifier: BSL-1.0

// Every parameter table of the session in one translation unit, because the order of definition is
// the order of construction: the real-time defaults and names, the offline defaults, the profile
// names and capabilities, the string defaults and names, the settings defaults.
//
// The rows stand first as constant data; the maps that the headers offer are filled from them.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "lipc/util/Levels.h"
#include "tables/MixEngineTables.h"
#include "tables/SettingsTables.h"

namespace Vexo {

namespace {

struct RealTimeRow {
  int index;
  const char* name;
  float value;
};

// clang-format off
constexpr RealTimeRow sRealTimeRows[] = {
  // index, name, default
  { 0, "Level",                   1.0f},
  { 1, "Mute",                    0.0f},
  { 2, "Solo",                    0.0f},
  { 3, "Downmix Low level",       1.0f},
  { 4, "Downmix Height level",    1.0f},
  { 5, "Downmix Top level",       1.0f},
  { 6, "Downmix Attenuation 0",   0.0f},
  { 7, "Downmix Attenuation 1",  -3.0f},
  { 8, "Downmix Attenuation 2",   0.0f},
  { 9, "Downmix Attenuation 3",  -3.0f},
  {10, "Downmix Attenuation 4",  -3.0f},
  {11, "Downmix Attenuation 5",  -3.0f},
  {12, "Downmix Attenuation 6",  -3.0f},
  {13, "Downmix Attenuation 7",  -3.0f},
  {14, "bus ID",                  0.0f},
  {15, "bus ID enabled",          1.0f},
  {16, "interact_gain_dB",        0.0f},
  {17, "overrule panner height", -1.0f},
};
// clang-format on

enum eDefaultUnit { eAsIs, eDecibel };

struct OfflineRow {
  int index;
  float value;
  eDefaultUnit unit;  // eDecibel: the default is the amplitude of this level
};

// deliberate: a NaN, and exactly this one, marks a value that is not set.
constexpr float cNotSet = std::bit_cast<float>(std::uint32_t{0xFFFFFFFFu});

// clang-format off
constexpr OfflineRow sOfflineRows[] = {
  // index, default, unit
  { 32,     2.0f, eAsIs},
  { 33,    16.0f, eAsIs},
  { 34,    -3.0f, eAsIs},
  { 35,     1.0f, eAsIs},
  { 36,     0.0f, eAsIs},
  { 37,     0.0f, eAsIs},
  { 38,     0.0f, eAsIs},
  { 39,     1.0f, eAsIs},
  { 40,     0.0f, eAsIs},
  { 41,     8.0f, eAsIs},
  { 42,     0.0f, eAsIs},
  { 43,     0.0f, eAsIs},
  { 44,     2.0f, eAsIs},
  { 45,     3.0f, eAsIs},
  { 46,     1.0f, eAsIs},
  { 47,     0.0f, eAsIs},
  { 48,     1.0f, eAsIs},
  { 49,     0.0f, eAsIs},
  { 50,     0.0f, eDecibel},
  { 51,     0.0f, eDecibel},
  { 52,     3.0f, eAsIs},
  { 53,     0.0f, eAsIs},
  { 54,     0.0f, eAsIs},
  { 55,     0.0f, eAsIs},
  { 56,     0.0f, eAsIs},
  { 57,     0.0f, eAsIs},
  { 58,     0.0f, eAsIs},
  { 59,     0.0f, eAsIs},
  { 60,     0.0f, eAsIs},
  { 61,     0.0f, eAsIs},
  { 62,     0.0f, eAsIs},
  { 63,     0.0f, eAsIs},
  { 64,     0.0f, eAsIs},
  { 65,     0.0f, eAsIs},
  { 66,     1.0f, eAsIs},
  { 67,     0.0f, eAsIs},
  { 68,     1.0f, eAsIs},
  { 69,    24.0f, eAsIs},
  { 70,     0.0f, eAsIs},
  { 71,    24.0f, eAsIs},
  { 72,     0.0f, eAsIs},
  { 73,     0.0f, eAsIs},
  { 74,     6.0f, eAsIs},
  { 75,     0.0f, eAsIs},
  { 76,     0.0f, eAsIs},
  { 77,     0.0f, eAsIs},
  { 78,     0.0f, eAsIs},
  { 79,    -1.0f, eAsIs},
  { 80,  cNotSet, eAsIs},
  { 81,     1.0f, eAsIs},
  { 82,     0.0f, eAsIs},
  { 83,     0.0f, eAsIs},
  { 84,     0.0f, eAsIs},
  { 85,   -23.0f, eAsIs},
  { 86,    10.0f, eAsIs},
  { 87,   -40.0f, eAsIs},
  { 88,   -20.0f, eAsIs},
  { 89,    10.0f, eAsIs},
  { 90,     0.0f, eAsIs},
  { 91,     1.0f, eAsIs},
  { 92,   100.0f, eAsIs},
  { 93,     0.9f, eAsIs},
  { 94,     0.0f, eAsIs},
  { 95,     0.0f, eAsIs},
  { 96,     0.0f, eAsIs},
  { 97,     0.0f, eAsIs},
  { 98,     0.0f, eAsIs},
  { 99,     0.0f, eAsIs},
  {100,    -1.0f, eAsIs},
  {101,    24.0f, eAsIs},
  {102,     0.0f, eAsIs},
  {103,    -1.0f, eAsIs},
  {104,     0.0f, eAsIs},
  {105,    24.0f, eAsIs},
  {106,     0.0f, eAsIs},
  {107,  1000.0f, eAsIs},
};
// clang-format on

struct StringRow {
  int index;
  const char* name;
  const char* text;
};

// clang-format off
constexpr StringRow sStringRows[] = {
  // slot, name, default
  {0, "Export_Path",            ""},
  {1, "MDA_Renderer",           "vbap.bundle"},
  {2, "MDA_Renderer_Cfg",       "default-stereo.vbap.cfg"},
  {3, "SwGrp_ObjectName_2Play", ""},
  {4, "PrgName_for_loudness",   ""},
};
// clang-format on

struct SettingsRow {
  int index;
  float value;
};

// clang-format off
constexpr SettingsRow sSettingsRows[] = {
  // index, default
  {32,  0.0f},
  {33,  0.0f},
  {34,  1.0f},
  {35,  1.0f},
  {36,  0.0f},
  {37,  0.0f},
  {38,  3.0f},
  {39,  0.0f},
  {40,  1.0f},
  {41, 26.0f},
};
// clang-format on

// One column of a table by its rows' indexes.
template <typename Value, typename Row, std::size_t count, typename Column>
std::map<int, Value> byIndex(const Row (&rows)[count], Column Row::*column) {
  std::map<int, Value> result;
  for (const Row& row : rows)
    result.emplace(row.index, row.*column);
  return result;
}

std::map<int, float> offlineDefaults() {
  std::map<int, float> result;
  for (const OfflineRow& row : sOfflineRows) {
    result.emplace(row.index, row.unit == eDecibel ? LIPC::db2amplitude(row.value) : row.value);
  }
  return result;
}

}  // namespace

namespace MixEngine {

const std::map<int, float> cRTIn_ParameterDefaultValues =
    byIndex<float>(sRealTimeRows, &RealTimeRow::value);

const std::map<int, std::string> cRTIn_ParameterNames =
    byIndex<std::string>(sRealTimeRows, &RealTimeRow::name);

const std::map<int, float> cOfflineParameterDefaultValues = offlineDefaults();

// clang-format off
const std::map<eMixProfiles, std::string> sMixProfileNames = {
  {eMixProfileCinemaMax,          "Cinema VexoMax"},
  {eMixProfileCinema3D,           "Cinema Vexo 3D"},
  {eMixProfileNearFieldFull,      "NearField Full"},
  {eMixProfileNearFieldHome,      "NearField Home"},
  {eMixProfileNearFieldBroadcast, "NearField Broadcast"},
};

const std::map<eMixProfiles, mixprofile> sMixProfileCapabilities = {
  // profile, firstLimit, secondLimit, profileFlag, exportFormats
  {eMixProfileCinemaMax,          {128,  1, 0, {eObjectExportFormat0, eObjectExportFormat5}}},
  {eMixProfileCinema3D,           {  0,  1, 0, {eObjectExportFormat5, eObjectExportFormat11}}},
  {eMixProfileNearFieldFull,      { 64, 16, 1, {eObjectExportFormat0, eObjectExportFormat5,
                                                eObjectExportFormat6, eObjectExportFormat11}}},
  {eMixProfileNearFieldHome,      { 10,  8, 1, {eObjectExportFormat0, eObjectExportFormat5,
                                                eObjectExportFormat6, eObjectExportFormat11}}},
  {eMixProfileNearFieldBroadcast, { 15,  1, 1, {eObjectExportFormat0, eObjectExportFormat5,
                                                eObjectExportFormat6, eObjectExportFormat7,
                                                eObjectExportFormat11}}},
};
// clang-format on

const std::map<int, std::string> cStringDefaults =
    byIndex<std::string>(sStringRows, &StringRow::text);

const std::map<int, std::string> cStringNames = byIndex<std::string>(sStringRows, &StringRow::name);

}  // namespace MixEngine

namespace Settings {

std::map<int, float> cParameterDefaults = byIndex<float>(sSettingsRows, &SettingsRow::value);

int defaultOf(int parameter) {
  const auto found = cParameterDefaults.find(parameter);
  return found != cParameterDefaults.end() ? static_cast<int>(found->second) : cSoloModeDefault;
}

}  // namespace Settings

}  // namespace Vexo
