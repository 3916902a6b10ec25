// SPDX-License-Identifier: BSL-1.0

// The settings file of this user, whatever it is, and where a row's values came from.
#include <sys/stat.h>

#include "inspect/Settings.h"
#include "tests/support/Testing.h"

namespace {

using inspect::SettingsFileFacts;

TEST(SettingsFiles, WhateverStandsInTheirPlaceIsReadWithinItsBoundsOrSaidToBeNone) {
  const std::filesystem::path path = inspect::readSettingsFiles({}).numbers.path;
  ASSERT_FALSE(path.empty());
  ASSERT_FALSE(std::filesystem::exists(path)) << path;
  EXPECT_EQ(inspect::readSettingsFiles({}).numbers.state, SettingsFileFacts::eMissing);
  const auto state = [&](const std::string& content) {
    std::ofstream(path) << content;
    return inspect::readSettingsFiles({}).numbers.state;
  };
  std::filesystem::create_directories(path.parent_path());
  const std::string value = "<VALUE name='k' val='1'/>", end = "</PROPERTIES>";
  std::string many = "<PROPERTIES>", nested = "<PROPERTIES>";
  for (int i = 0; i < 998; ++i)
    many += value;
  for (int i = 0; i < 20'000; ++i)
    nested += "<a>";
  EXPECT_EQ(state(many + end), SettingsFileFacts::eRead);
  EXPECT_EQ(state(many + value + end), SettingsFileFacts::eMalformed) << "1001 tags";
  EXPECT_EQ(state(nested), SettingsFileFacts::eMalformed);
  EXPECT_EQ(state("<PROPERTIES>" + end + std::string(128 * 1024 - 25, ' ')),
            SettingsFileFacts::eRead);
  EXPECT_EQ(state("<PROPERTIES>" + end + std::string(128 * 1024 - 24, ' ')),
            SettingsFileFacts::eMalformed);
  for (const char* content : {"", "<PROPERTIES>", "<OTHER/>", "text"})
    EXPECT_EQ(state(content), SettingsFileFacts::eMalformed) << content;
  std::filesystem::remove(path);
  ASSERT_EQ(mkfifo(path.c_str(), 0666), 0);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(inspect::readSettingsFiles({}).numbers.state, SettingsFileFacts::eUnreadable);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  std::filesystem::remove(path);
}

TEST(SettingsFiles, AValueIsOfTheFileOrTheDefaultOrNobodyKnowsWhose) {
  inspect::ClientPicture client;
  client.type = LIPC::cSettingsType;
  inspect::SettingsFacts files;
  const auto sourceOf = [&](const std::string& key) -> std::string {
    for (const inspect::SettingView& view : settingsOf(client, files))
      if (view.key == key) return view.source;
    return "no such key";
  };
  EXPECT_EQ(sourceOf("DAWLinkControlSetting"), "default");
  client.parameters[33] = 2;
  EXPECT_EQ(sourceOf("DAWLinkControlSetting"), "unknown");
  files.numbers.values["DAWLinkControlSetting"] = "2";
  EXPECT_EQ(sourceOf("DAWLinkControlSetting"), "file");
  files.numbers.values["DAWLinkControlSetting"] = "0";
  EXPECT_EQ(sourceOf("DAWLinkControlSetting"), "unknown") << "the file was changed since";
  client.strings[0] = std::string(127, 'x');
  files.texts.values["Facility"] = std::string(126, 'x');
  EXPECT_EQ(sourceOf("Facility"), "unknown");
  files.texts.values["Facility"] = std::string(200, 'x');
  EXPECT_EQ(sourceOf("Facility"), "file") << "a slot keeps 127 characters of it";
  client.type = 0;
  EXPECT_EQ(inspect::settingKey(client.type, true, 0), "");
}

}  // namespace
