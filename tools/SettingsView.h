#pragma once

#include <string>
#include <vector>

#include "host/SessionReader.h"

namespace tools {

/// A setting as the settings client's row publishes it.
struct SettingView {
  std::string key;
  bool isText = false;
  int index = 0;  // offline parameter, or string slot when isText
  float number = 0.0F;
  std::string text;
  /// "file": the settings file of this user has the key with this value; "default": it lacks the
  /// key and this is the default; "unknown": neither, since the file changed after the client read
  /// it or the client runs for another user.
  std::string source;
};

/// Whether this is a settings client, by its type.
bool isSettingsClient(const host::ClientPicture& client);
std::vector<SettingView> settingsOf(const host::ClientPicture& client);
/// The key of the setting that a client of this type publishes there, or an empty text.
std::string settingKey(std::uint32_t clientType, bool isText, int index);

}  // namespace tools
