#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "inspect/Source.h"

namespace inspect {

/// A snapshot that cannot be written or read; the text is a whole sentence, the path in it not
/// escaped.
class SnapshotError final : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Writes everything that can be known of the session and of this machine into one file: the bytes
/// of the session's segments and of its clients', audio of the last six blocks among them, the
/// connection pool, the facts, and what was watched for `duration` (see Source::watch). The file
/// appears when it is complete. False when `progress` ended it: then there is none.
///
///   bytes  "LIPC snapshot\n", then version (32 bits), bytes of what follows the sum (64),
///          a sum over them (64, FNV-1a), and they: Archive.h
///
/// Throws SnapshotError.
bool writeSnapshot(const std::string& path, Source& source, std::chrono::milliseconds duration,
                   const std::function<bool(double)>& progress);

/// Throws SnapshotError for a file that is missing, cut short, changed, of another version, or no
/// snapshot.
std::unique_ptr<Source> openSnapshot(const std::string& path);

}  // namespace inspect
