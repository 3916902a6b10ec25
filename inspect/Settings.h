// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>
#include <optional>
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
  /// "file": the host's settings file has the key with this value; "default": it lacks the key and
  /// this is the default; "unknown": neither, since the file changed after the client read it,
  /// somebody changed the value, or the host's home folder is not known.
  std::string source;
  std::string defaultText;  // when isText
  float defaultNumber = 0.0F;
};

/// Whether this is a settings client, by its type.
bool isSettingsClient(const ClientPicture& client);
std::vector<SettingView> settingsOf(const ClientPicture& client, const SettingsFacts& files);
/// The key of the setting that a client of this type publishes there, or an empty text.
std::string settingKey(std::uint32_t clientType, bool isText, int index);

/// The settings files of the process that loads settings clients: out of its home folder, where the
/// system tells (`home`), else of this process's. A file with more than 128 KiB, or with more than
/// 1000 tags, counts as malformed.
SettingsFacts readSettingsFiles(const std::optional<std::string>& home);

}  // namespace inspect
