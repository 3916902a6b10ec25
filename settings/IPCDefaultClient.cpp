// SPDX-License-Identifier: BSL-1.0
#include "settings/IPCDefaultClient.h"

#include <cstdio>

#include <juce_data_structures/juce_data_structures.h>

#include "lipc/util/Log.h"
#include "settings/SettingsLocation.h"
#include "tables/SettingsTables.h"

namespace Vexo::Settings {
namespace {

constexpr char cClientName[] = "VexoSettings";
constexpr int cStartDelayMS = 500;

// Offline parameters and the string slot that the settings are published in.
constexpr int cSoloMode = 4;
constexpr int cHdxAuxTrackDelay = 32;
constexpr int cDAWLinkControl = 33;
constexpr int cDefaultPannerObjects = 37;
constexpr int cLatencyCompensation = 40;
constexpr int cPhysMonConfig = 41;
constexpr int cFacilitySlot = 0;

/// Where JUCE would look in another place (Linux, or a HOME of one's own), the folder is named
/// whole.
juce::PropertiesFile::Options settingsOptions() {
  juce::PropertiesFile::Options options;
  options.applicationName = "Vexo-Settings";
  options.filenameSuffix = "xml";
  options.folderName = "Vexo Technologies";
  options.osxLibrarySubFolder = "Application Support";
  options.commonToAllUsers = false;
  options.ignoreCaseOfKeyNames = false;
  options.millisecondsBeforeSaving = 1000;
  options.storageFormat = juce::PropertiesFile::storeAsXML;
  options.processLock = nullptr;

  const SettingsRoots roots = SettingsLocation::roots();
  const juce::String wanted = juce::String::fromUTF8(currentUserSettingsFile(roots).c_str());
  if (options.getDefaultFile().getFullPathName() != wanted) {
    options.folderName = juce::String::fromUTF8(settingsFolder(roots.home).c_str());
  }
  return options;
}

/// The last user's settings, if the machine names one.
std::unique_ptr<juce::PropertiesFile> openLastUserSettings() {
  const SettingsPlaces places = settingsPlaces(SettingsLocation::roots());
  if (places.lastUserFile.empty()) return nullptr;
  return std::make_unique<juce::PropertiesFile>(
      juce::File::createFileWithoutCheckingPath(juce::String::fromUTF8(places.numbers.c_str())),
      settingsOptions());
}

/// Ends the edit also when a step inside throws. An exception of the end itself ends the process.
class EditBracket {
 public:
  explicit EditBracket(LIPC::Client& client) : mClient(client) { mClient.configBeginEdit(); }
  ~EditBracket() { mClient.configEndEdit(); }
  EditBracket(const EditBracket&) = delete;
  EditBracket& operator=(const EditBracket&) = delete;

 private:
  LIPC::Client& mClient;
};

}  // namespace

IPCDefaultClient::IPCDefaultClient()
    : LIPC::Client(static_cast<int>(LIPC::cSettingsType), "No name"),
      appProperties(std::make_unique<juce::ApplicationProperties>()) {
  appProperties->setStorageParameters(settingsOptions());
  const juce::PropertySet& ownSettings = *appProperties->getUserSettings();
  const std::unique_ptr<juce::PropertiesFile> lastUserSettings = openLastUserSettings();
  const juce::PropertySet& settings = lastUserSettings ? *lastUserSettings : ownSettings;
  configure();
  publishNumbers(settings);
  startLIPCSession(cStartDelayMS);
}

IPCDefaultClient::~IPCDefaultClient() {
  stopLIPCSession();
}

void IPCDefaultClient::configure() {
  const EditBracket edit(*this);
  configSetMode(LIPC::eClientModeNoAudio);
  configSetClientID(cClientName);
  configSetName(cClientName);
}

void IPCDefaultClient::publishNumbers(const juce::PropertySet& settings) {
  const auto read = [&](const char* key, int fallback) {
    return settings.getIntValue(key, fallback);
  };
  const auto publish = [this](int parameter, int value) {
    setOfflineParameter(parameter, static_cast<float>(value));
  };

  publish(cSoloMode, read("SoloMode", defaultOf(cSoloMode)));
  updateFacility();
  publish(cHdxAuxTrackDelay, read("HdxAuxTrackDelaySetting", defaultOf(cHdxAuxTrackDelay)));
  const int dawLink = read("DAWLinkControlSetting", defaultOf(cDAWLinkControl));
  std::printf("\nSettings Default Client construct : dawlink = %d \n", dawLink);
  publish(cDAWLinkControl, dawLink);
  publish(cLatencyCompensation,
          read("LatencyCompensationControlSetting", defaultOf(cLatencyCompensation)));
  publish(cDefaultPannerObjects, read("defaultPannerObjects", defaultOf(cDefaultPannerObjects)));
  publish(cPhysMonConfig, read("PhysMonConfig", defaultOf(cPhysMonConfig)));
}

void IPCDefaultClient::updateFacility() {
  const std::string facility =
      appProperties->getUserSettings()->getValue("Facility", cFacilityDefault).toStdString();
  if (getString(cFacilitySlot) == facility) return;
  Lct::Log(Lct::eLogInfo, "updateFacility", "Updating facility to %s", facility.c_str());
  setString(cFacilitySlot, facility.c_str());
}

}  // namespace Vexo::Settings
