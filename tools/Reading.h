#pragma once

#include <optional>

#include "host/SessionReader.h"

namespace tools {

/// The session, or nothing after a sentence on standard error and the exit status for it.
std::optional<host::SessionPicture> readOrExplain(int& status);

}  // namespace tools
