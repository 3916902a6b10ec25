#include "tools/SettingsView.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string_view>

#include <boost/property_tree/xml_parser.hpp>

#include "tables/SettingsFiles.h"
#include "tables/SettingsTables.h"

namespace tools {
namespace {

using Values = std::map<std::string, std::string>;
using Vexo::Settings::PublishedSetting;

/// A settings file has a few kilobytes and a tag for each key. The parser descends into nested
/// elements by recursion, which the number of tags bounds.
constexpr std::size_t cLargestSettingsFile = 128 * 1024;
constexpr std::ptrdiff_t cMostTags = 1000;

/// The keys and values of a settings file; none when it is missing or cannot be parsed, which is
/// how the settings client reads such a file too.
Values readSettingsFile(const std::string& path) {
  namespace ptree = boost::property_tree;
  std::stringstream text;
  text << std::ifstream(path).rdbuf();
  const std::string_view all = text.view();
  if (all.size() > cLargestSettingsFile) return {};
  if (std::count(all.begin(), all.end(), '<') > cMostTags) return {};
  ptree::ptree document;
  try {
    ptree::read_xml(text, document);
  } catch (const ptree::xml_parser_error&) {
    return {};
  }
  Values values;
  const auto properties = document.get_child_optional("PROPERTIES");
  if (!properties) return values;
  for (const auto& [tag, value] : *properties) {
    if (tag != "VALUE") continue;
    values[value.get("<xmlattr>.name", "")] = value.get("<xmlattr>.val", "");
  }
  return values;
}

struct Files {
  Values numbers;
  Values texts;
};

Files readFiles() {
  const auto roots = Vexo::Settings::systemSettingsRoots();
  const std::string own = Vexo::Settings::currentUserSettingsFile(roots);
  return {readSettingsFile(Vexo::Settings::lastUserSettingsFile(roots).value_or(own)),
          readSettingsFile(own)};
}

float defaultNumber(const PublishedSetting& setting) {
  const auto& defaults = Vexo::Settings::cParameterDefaults;
  const auto found = defaults.find(setting.index);
  return found != defaults.end() ? found->second
                                 : static_cast<float>(Vexo::Settings::cSoloModeDefault);
}

/// Longest text that a string slot keeps of a longer one.
constexpr std::size_t cSlotText = 127;

bool isPublished(const SettingView& view, const std::string& value) {
  if (!view.isText) return static_cast<float>(std::atoi(value.c_str())) == view.number;
  return value == view.text || value.substr(0, cSlotText) == view.text;
}

bool isDefault(const SettingView& view, const PublishedSetting& setting) {
  return view.isText ? view.text == Vexo::Settings::cFacilityDefault
                     : view.number == defaultNumber(setting);
}

const char* sourceOf(const SettingView& view, const PublishedSetting& setting, const Files& files) {
  const Values& values = view.isText ? files.texts : files.numbers;
  const auto found = values.find(view.key);
  if (found != values.end()) return isPublished(view, found->second) ? "file" : "unknown";
  return isDefault(view, setting) ? "default" : "unknown";
}

}  // namespace

bool isSettingsClient(const host::ClientPicture& client) {
  return client.type == LIPC::cSettingsType;
}

std::string settingKey(std::uint32_t clientType, bool isText, int index) {
  if (clientType != LIPC::cSettingsType) return {};
  for (const PublishedSetting& setting : Vexo::Settings::cPublishedSettings) {
    if (setting.isText == isText && setting.index == index) return setting.key;
  }
  return {};
}

std::vector<SettingView> settingsOf(const host::ClientPicture& client) {
  const Files files = readFiles();
  std::vector<SettingView> views;
  for (const PublishedSetting& setting : Vexo::Settings::cPublishedSettings) {
    SettingView view;
    view.key = setting.key;
    view.isText = setting.isText;
    view.index = setting.index;
    const auto slot = static_cast<std::size_t>(setting.index);
    if (setting.isText) {
      view.text = client.strings[slot];
    } else {
      view.number = client.parameters[slot];
    }
    view.source = sourceOf(view, setting, files);
    views.push_back(std::move(view));
  }
  return views;
}

}  // namespace tools
