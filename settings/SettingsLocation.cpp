#include "settings/SettingsLocation.h"

namespace Vexo::Settings {

const SettingsRoots* SettingsLocation::msReplacement = nullptr;

SettingsRoots SettingsLocation::roots() {
  return msReplacement != nullptr ? *msReplacement : systemSettingsRoots();
}

}  // namespace Vexo::Settings
