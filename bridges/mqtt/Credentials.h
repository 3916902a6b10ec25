// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>

namespace mqtt {

/// The environment variable that may have the password.
inline constexpr char cPasswordVariable[] = "LIPC_MQTT_PASSWORD";

/// The first line of a file that nobody but its owner may read. Throws tools::Failure.
std::string passwordOfFile(const std::string& path);

}  // namespace mqtt
