// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <string_view>

#include "lipc/session/ClientID.h"
#include "lipc/session/SessionNames.h"

namespace bridges {

/// Why no client can have this ID in a session; empty where one can.
inline std::string whyNoID(const std::string& id) {
  if (id.empty() || id.size() > LIPC::ClientID::cCharacters) return "an ID has 1 to 64 bytes";
  if (id.find_first_of(std::string_view("/\0", 2)) != std::string::npos)
    return "an ID has no slash";
  if (!LIPC::ClientID(id).isDefined() || LIPC::isSessionWideName(id)) return "no client's ID";
  return "";
}

}  // namespace bridges
