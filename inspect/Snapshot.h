// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "inspect/Source.h"

namespace inspect {

/// A snapshot that cannot be read; the text is a whole sentence, the path in it not escaped.
class SnapshotError final : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Everything that can be known of the session and of this machine, as the bytes of one file: those
/// of the session's segments and of its clients', audio of the last six blocks among them, the
/// connection pool, the facts, and what was watched for `duration` (Source::watch). Nothing when
/// `progress` ended it.
///
///   "LIPC snapshot\n", version (32 bits), number of the bytes behind the sum (64), sum over them
///   (64, FNV-1a), and they: Archive.h
std::optional<std::string> takeSnapshot(Source& source, std::chrono::milliseconds duration,
                                        const std::function<bool(double)>& progress);

/// Throws SnapshotError for a file that is missing, cut short, changed, of another version, or no
/// snapshot. "-" is standard input.
std::unique_ptr<Source> openSnapshot(const std::string& path);

}  // namespace inspect
