// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "inspect/Source.h"
#include "lipc/session/Connection.h"

namespace inspect {

struct PoolPicture {
  /// The session's list; none where it cannot be read.
  std::optional<std::vector<LIPC::Connection>> connections;
  std::string error;  // why
  bool isDamaged = false;
};

/// Reads the session's list of connections in a child process, with a deadline. Where somebody is
/// just changing a living pool, looks again, up to so many times.
PoolPicture readPool(Source& source, int looks = 10);

}  // namespace inspect
