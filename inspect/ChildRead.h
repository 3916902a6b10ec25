// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace inspect {

/// Calls `read` in a child process and returns what it returned; nothing when it threw, when it
/// died of what it met, or when it was not done in time: then `why` says so. For memory whose links
/// somebody else may have damaged, and whose pages somebody may take away: neither ends nor holds
/// up this process.
///
/// The child inherits this thread alone: `read` may take no lock that another thread may hold.
/// Threads: any.
std::optional<std::string> readInChild(const std::function<std::string()>& read,
                                       std::chrono::milliseconds deadline, std::string& why);

}  // namespace inspect
