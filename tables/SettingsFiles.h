// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <optional>
#include <string>

namespace Vexo::Settings {

// clang-format off
/// @addtogroup settings_files
/// Where the machine's settings lie. Paths only: nothing here opens a settings file.
///
///     a user's settings    HOME/Library/Application Support/Vexo Technologies/Vexo-Settings.xml
///     another user's       the same under /Users/NAME
///     whose numbers count  /Users/Shared/.vexosettings_lastuser.txt, first line: a login name
///
/// The same on every platform: the paths under /Users are absolute also where homes lie elsewhere.
/// The facility always comes from the running user's own file; where there is no last-user file,
/// the numbers do too.
///
/// Threads: any; the last-user file is read with each call that needs it.
/// @{
// clang-format on

/// From where the paths start, for tests and for looking at another place.
struct SettingsRoots {
  std::string home;                    ///< the running user's home folder
  std::string usersFolder = "/Users";  ///< the homes of named users

  /// Whose first line names the user whose numbers count.
  std::string lastUserFile = "/Users/Shared/.vexosettings_lastuser.txt";
};

/// Of a process of this user: `home`, its HOME, or where that is empty the user database's, or "/".
SettingsRoots settingsRootsOf(const std::string& home);
/// The running process's.
SettingsRoots systemSettingsRoots();

/// The folder, under a home, in which the settings file lies.
std::string settingsFolder(const std::string& home);
/// The running user's settings file, there or not.
std::string currentUserSettingsFile(const SettingsRoots& roots);

/// The settings file of the user whom the last-user file names: at most 255 characters of its first
/// line. Empty when that file is missing or unreadable, or its first line is empty.
std::optional<std::string> lastUserSettingsFile(const SettingsRoots& roots);

/// Out of which file each setting comes: the one rule that the settings client and its readers go
/// by.
struct SettingsPlaces {
  std::string numbers;       ///< of the numeric settings
  std::string texts;         ///< of the facility
  std::string lastUserFile;  ///< the file that names the user whose numbers count; empty: none does
};
/// The files that count now; they need not be there.
SettingsPlaces settingsPlaces(const SettingsRoots& roots);

/// @}

}  // namespace Vexo::Settings
