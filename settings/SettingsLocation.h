// SPDX-License-Identifier: BSL-1.0
#pragma once

#include "tables/SettingsFiles.h"

namespace Vexo::Settings {

/// The roots under which this library looks for settings, asked when a settings client is made. A
/// program that links the library statically (a test) may replace them; the loadable module does
/// not export them. Not synchronised: change them before a client is made.
struct SettingsLocation {
  /// The process's own roots unless `msReplacement` is set.
  static SettingsRoots roots();
  static const SettingsRoots* msReplacement;
};

}  // namespace Vexo::Settings
