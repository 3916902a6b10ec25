#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inspect/Picture.h"

/// The settings client's row read back into settings, and where each value came from.
namespace inspect {

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
  std::string defaultText;  // when isText
  float defaultNumber = 0.0F;
};

/// Whether this is a settings client, by its type.
bool isSettingsClient(const ClientPicture& client);
std::vector<SettingView> settingsOf(const ClientPicture& client, const SettingsFacts& files);
/// The key of the setting that a client of this type publishes there, or an empty text.
std::string settingKey(std::uint32_t clientType, bool isText, int index);

/// The settings files of the user whom this process runs for. A file with more than 128 KiB, or
/// with more than 1000 tags, counts as malformed.
SettingsFacts readSettingsFiles();

}  // namespace inspect
