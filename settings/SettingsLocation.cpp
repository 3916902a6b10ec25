// SPDX-License-Identifier: BSL-1.0
#include "settings/SettingsLocation.h"

namespace Vexo::Settings {

const SettingsRoots* SettingsLocation::msReplacement = nullptr;

SettingsRoots SettingsLocation::roots() {
  return msReplacement != nullptr ? *msReplacement : systemSettingsRoots();
}

}  // namespace Vexo::Settings
