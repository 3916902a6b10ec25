#include "settings/SettingsLocation.h"

namespace Vexo::Settings {

const SettingsRoots* SettingsLocation::replacement = nullptr;

SettingsRoots SettingsLocation::roots() {
  return replacement != nullptr ? *replacement : systemSettingsRoots();
}

}  // namespace Vexo::Settings
