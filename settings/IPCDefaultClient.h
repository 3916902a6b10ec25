// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <memory>

#include "lipc/client/Client.h"

namespace juce {
class ApplicationProperties;
class PropertySet;
}  // namespace juce

namespace Vexo::Settings {

/// The settings client: reads the machine's settings once, when it is made, publishes them to every
/// participant as offline parameters and a string, and joins the session in the background. A
/// change of the file takes effect when the library is loaded again. The files are never written.
///
///   key                                 published as           default
///   SoloMode                            offline parameter  4   0
///   Facility                            string slot        0   Standard-Surround
///   HdxAuxTrackDelaySetting             offline parameter 32   cParameterDefaults[32]
///   DAWLinkControlSetting               offline parameter 33   cParameterDefaults[33]
///   LatencyCompensationControlSetting   offline parameter 40   cParameterDefaults[40]
///   defaultPannerObjects                offline parameter 37   cParameterDefaults[37]
///   PhysMonConfig                       offline parameter 41   cParameterDefaults[41]
///
/// A missing file or key, or a file that cannot be read, gives the defaults without a message; a
/// text where a number belongs is read as JUCE reads it.
///
/// Threads: made and destroyed on the thread that loads and unloads the library.
/// Errors: an exception of the constructor passes after what was built has been torn down.
class IPCDefaultClient final : public LIPC::Client {
 public:
  IPCDefaultClient();
  /// Leaves the session. An exception on the way ends the process.
  ~IPCDefaultClient() override;

  /// Publishes the facility if it differs from what the string slot holds.
  /// deliberate: it comes from the running user's file, never from the last user's.
  void updateFacility();

 private:
  void configure();
  void publishNumbers(const juce::PropertySet& settings);

  std::unique_ptr<juce::ApplicationProperties> appProperties;
};

}  // namespace Vexo::Settings
