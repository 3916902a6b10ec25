// SPDX-License-Identifier: BSL-1.0
#include "inspect/Settings.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string_view>

#include <boost/property_tree/xml_parser.hpp>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tables/SettingsFiles.h"
#include "tables/SettingsTables.h"

namespace inspect {
namespace {

using Vexo::Settings::PublishedSetting;

/// A settings file has a few kilobytes and a tag for each key. The parser descends into nested
/// elements by recursion, which the number of tags bounds.
constexpr std::size_t cLargestSettingsFile = std::size_t{128} * 1024;
constexpr std::ptrdiff_t cMostTags = 1000;

/// False where it cannot be parsed.
bool parse(const std::string& text, std::map<std::string, std::string>& values) {
  namespace ptree = boost::property_tree;
  if (text.size() > cLargestSettingsFile) return false;
  if (std::count(text.begin(), text.end(), '<') > cMostTags) return false;
  ptree::ptree document;
  try {
    std::istringstream stream(text);
    ptree::read_xml(stream, document);
  } catch (const ptree::xml_parser_error&) {
    return false;
  }
  const auto properties = document.get_child_optional("PROPERTIES");
  if (!properties) return false;
  for (const auto& [tag, value] : *properties) {
    if (tag != "VALUE") continue;
    values[value.get("<xmlattr>.name", "")] = value.get("<xmlattr>.val", "");
  }
  return true;
}

/// Up to a byte more than a settings file may have; false with errno. A pipe of that name, or a
/// folder, is none: opening it may not wait.
bool readFile(const std::string& path, std::string& text, std::uint32_t& owner) {
  const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) return false;
  struct stat status {};
  const bool isFile = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
  owner = status.st_uid;
  text.resize(cLargestSettingsFile + 1);
  const ssize_t bytes = isFile ? read(file, text.data(), text.size()) : -1;
  const int error = isFile ? errno : EINVAL;
  close(file);
  errno = error;
  text.resize(bytes > 0 ? static_cast<std::size_t>(bytes) : 0);
  return bytes >= 0;
}

SettingsFileFacts readSettingsFile(const std::string& path) {
  SettingsFileFacts facts;
  facts.path = path;
  std::string text;
  if (!readFile(path, text, facts.owner)) {
    facts.error = errno;
    facts.state = facts.error == ENOENT || facts.error == ENOTDIR ? SettingsFileFacts::eMissing
                                                                  : SettingsFileFacts::eUnreadable;
  } else if (parse(text, facts.values)) {
    facts.state = SettingsFileFacts::eRead;
  } else {
    facts.values.clear();
    facts.state = SettingsFileFacts::eMalformed;
  }
  return facts;
}

/// Longest text that a string slot keeps of a longer one.
constexpr std::size_t cSlotText = 127;

bool isPublished(const SettingView& view, const std::string& value) {
  if (!view.isText) return static_cast<float>(std::atoi(value.c_str())) == view.number;
  return value == view.text || value.substr(0, cSlotText) == view.text;
}

bool isDefault(const SettingView& view) {
  return view.isText ? view.text == view.defaultText : view.number == view.defaultNumber;
}

const char* sourceOf(const SettingView& view, const SettingsFacts& files) {
  const auto& values = (view.isText ? files.texts : files.numbers).values;
  const auto found = values.find(view.key);
  if (found != values.end()) return isPublished(view, found->second) ? "file" : "unknown";
  return isDefault(view) ? "default" : "unknown";
}

}  // namespace

bool isSettingsClient(const ClientPicture& client) {
  return client.type == LIPC::cSettingsType;
}

std::string settingKey(std::uint32_t clientType, bool isText, int index) {
  if (clientType != LIPC::cSettingsType) return {};
  for (const PublishedSetting& setting : Vexo::Settings::cPublishedSettings) {
    if (setting.isText == isText && setting.index == index) return setting.key;
  }
  return {};
}

std::vector<SettingView> settingsOf(const ClientPicture& client, const SettingsFacts& files) {
  std::vector<SettingView> views;
  for (const PublishedSetting& setting : Vexo::Settings::cPublishedSettings) {
    SettingView view;
    view.key = setting.key;
    view.isText = setting.isText;
    view.index = setting.index;
    view.defaultText = setting.isText ? Vexo::Settings::cFacilityDefault : "";
    view.defaultNumber =
        setting.isText ? 0.0F : static_cast<float>(Vexo::Settings::defaultOf(setting.index));
    const auto slot = static_cast<std::size_t>(setting.index);
    if (setting.isText) {
      view.text = client.strings[slot];
    } else {
      view.number = client.parameters[slot];
    }
    view.source = sourceOf(view, files);
    views.push_back(std::move(view));
  }
  return views;
}

SettingsFacts readSettingsFiles(const std::optional<std::string>& home) {
  namespace settings = Vexo::Settings;
  const settings::SettingsPlaces places = settings::settingsPlaces(
      home ? settings::settingsRootsOf(*home) : settings::systemSettingsRoots());
  SettingsFacts facts;
  facts.texts = readSettingsFile(places.texts);
  facts.numbers = places.numbers == places.texts ? facts.texts : readSettingsFile(places.numbers);
  facts.lastUserFile = places.lastUserFile;
  return facts;
}

}  // namespace inspect
