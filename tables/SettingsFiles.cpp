// SPDX-License-Identifier: BSL-1.0
#include "tables/SettingsFiles.h"

#include <cstdio>
#include <cstdlib>

#include <pwd.h>
#include <unistd.h>

namespace Vexo::Settings {
namespace {

constexpr char cFolderUnderHome[] = "/Library/Application Support/Vexo Technologies";
constexpr char cFileName[] = "/Vexo-Settings.xml";

std::string homeFolder() {
  passwd entry{};
  passwd* found = nullptr;
  char buffer[4096];
  if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found != nullptr) {
    return found->pw_dir;
  }
  return "/";
}

}  // namespace

SettingsRoots settingsRootsOf(const std::string& home) {
  SettingsRoots roots;
  roots.home = home.empty() ? homeFolder() : home;
  return roots;
}

SettingsRoots systemSettingsRoots() {
  const char* home = std::getenv("HOME");
  return settingsRootsOf(home != nullptr ? home : "");
}

std::string settingsFolder(const std::string& home) {
  return home + cFolderUnderHome;
}

std::string currentUserSettingsFile(const SettingsRoots& roots) {
  return settingsFolder(roots.home) + cFileName;
}

std::optional<std::string> lastUserSettingsFile(const SettingsRoots& roots) {
  std::FILE* file = std::fopen(roots.lastUserFile.c_str(), "re");
  if (file == nullptr) return std::nullopt;
  char user[256] = {};
  const int items = std::fscanf(file, "%255[^\n]", user);
  std::fclose(file);
  if (items < 1) return std::nullopt;
  return settingsFolder(roots.usersFolder + "/" + user) + cFileName;
}

SettingsPlaces settingsPlaces(const SettingsRoots& roots) {
  const std::string own = currentUserSettingsFile(roots);
  const std::optional<std::string> lastUsers = lastUserSettingsFile(roots);
  return {lastUsers.value_or(own), own, lastUsers ? roots.lastUserFile : std::string()};
}

}  // namespace Vexo::Settings
