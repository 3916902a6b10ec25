// SPDX-License-Identifier: BSL-1.0
#include "inspect/Picture.h"
#include "settings/IPCDefaultClient.h"
#include "settings/SettingsLocation.h"
#include "tests/support/TestHost.h"

namespace {

using namespace Vexo::Settings;
using namespace support;
namespace fs = std::filesystem;

constexpr char cFile[] = "/Library/Application Support/Vexo Technologies/Vexo-Settings.xml";
constexpr char cDefaults[] = "0 Standard-Surround 0 0 1 0 26 ";
// Key, and the parameter that it is published in; the facility goes into string slot 0.
// clang-format off
constexpr std::pair<const char*, int> cKeys[] = {
    {"SoloMode", 4}, {"Facility", -1}, {"HdxAuxTrackDelaySetting", 32},
    {"DAWLinkControlSetting", 33}, {"LatencyCompensationControlSetting", 40},
    {"defaultPannerObjects", 37}, {"PhysMonConfig", 41}};
// clang-format on

/// A settings file with these values of cKeys, from the first on.
std::string file(const std::vector<std::string>& values) {
  std::string xml = "<?xml version=\"1.0\"?>\n<PROPERTIES>\n";
  for (std::size_t i = 0; i < values.size(); ++i)
    xml += std::string("<VALUE name='") + cKeys[i].first + "' val='" + values[i] + "'/>";
  return xml + "\n</PROPERTIES>\n";
}

void write(const std::string& path, const std::string& text) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

struct SettingsClient : testing::Test {
  SettingsClient() { SettingsLocation::msReplacement = &roots; }
  ~SettingsClient() override { fs::remove_all(folder); }

  static std::map<std::string, fs::file_time_type> files() {
    std::map<std::string, fs::file_time_type> all;
    for (const auto& item : fs::recursive_directory_iterator(folder))
      all[item.path().string()] = item.last_write_time();
    return all;
  }

  /// What a reader sees of a client that is made after this file was written, in the order of
  /// cKeys.
  static std::string published(std::string path = folder + "/any", std::string text = "") {
    write(path, text);
    const auto before = files();
    std::ostringstream all;
    {
      const IPCDefaultClient client;
      EXPECT_TRUE(eventually(10s, [&] { return client.isConnected(); }));
      const inspect::ClientPicture row =
          inspect::readSession(*inspect::openMachine(), {}).clients.at(0);
      for (const auto& [key, index] : cKeys)
        (index < 0 ? all << row.strings[0] : all << row.parameters[index]) << ' ';
    }
    EXPECT_EQ(files(), before) << "they are read, never written or made";
    return all.str();
  }

  static inline const std::string folder = testing::TempDir() + "settings";
  static inline const SettingsRoots roots{folder + "/home", folder + "/Users", folder + "/last"};
  TestHost testHost;
};

TEST_F(SettingsClient, PublishesWhatItsFileSaysAndTheDefaultsWhereItSaysNothing) {
  EXPECT_EQ(published(), cDefaults);
  const std::string whole = file({"2", "\"A\" \xC3\xA9", "1", "-1", "0", "64", "12"});
  const std::pair<std::string, std::string> cases[] = {
      {whole, "2 \"A\" \xC3\xA9 1 -1 0 64 12 "},
      {whole.substr(0, whole.size() / 2), cDefaults},
      {"SoloMode=3\n\xFF\xFE", cDefaults},
      {file({"", "", "1.9", " 7", "on", "12 dB", "?"}), "0  1 7 0 12 0 "},
      {file({"1", "10 MB", std::string(10'000'000, 'x')}), "1 10 MB 0 0 1 0 26 "}};
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(published(roots.home + cFile, text), expected) << text.substr(0, 600);
  fs::remove(roots.home + cFile);
  fs::create_directory(roots.home + cFile);
  EXPECT_EQ(published(), cDefaults);
}

TEST_F(SettingsClient, TakesTheNumbersOfTheLastUserAndTheFacilityOfTheRunningOne) {
  write(roots.home + cFile, file({"5", "Own", "5"}));
  write(roots.usersFolder + "/alice" + cFile, file({"6", "Hers", "6"}));
  write(roots.usersFolder + "/" + std::string(255, 'a') + cFile, file({"7", "Long", "7"}));
  EXPECT_EQ(published(), "5 Own 5 0 1 0 26 ");
  for (const auto& [text, number] : {std::pair<std::string, std::string>{"\nalice\n", "5"},
                                     {"alice\nbob\n", "6"},
                                     {"bob", "0"},
                                     {std::string(300, 'a'), "7"}})
    EXPECT_EQ(published(roots.lastUserFile, text), number + " Own " + number + " 0 1 0 26 ")
        << text;
}

TEST_F(SettingsClient, UpdatesTheFacilityOnlyWhereItDiffers) {
  const std::string line = "<INFO> updateFacility Updating facility to Room 1\n";
  write(roots.home + cFile, file({"0", "Room 1", "0", "1"}));
  testing::internal::CaptureStdout();
  IPCDefaultClient client;
  // Behind the time of day, and nothing else.
  EXPECT_EQ(testing::internal::GetCapturedStdout().substr(27),
            line + "\nSettings Default Client construct : dawlink = 1 \n");
  ASSERT_TRUE(eventually(10s, [&] { return client.isConnected(); }));
  testing::internal::CaptureStdout();
  client.updateFacility();
  client.setString(0, "Room 10");
  client.updateFacility();
  EXPECT_EQ(testing::internal::GetCapturedStdout().substr(27), line) << "once";
  EXPECT_EQ(testHost.session().getClientEntry("VexoSettings")->strings[0].current(), "Room 1");
}

}  // namespace
