// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "tools/top/TopModel.h"

namespace tools {

/// What the model knows after its last look.
nlohmann::ordered_json topJson(const TopModel& model);

}  // namespace tools
