// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inspect/Facts.h"
#include "inspect/Leftovers.h"
#include "inspect/Picture.h"
#include "inspect/SessionWatch.h"

/// What is wrong on a machine for sessions. Pure: facts in, findings out.
namespace inspect {

enum class eSeverity {
  eWrong,   // something does not work, or will not
  eNotice,  // worth knowing, or not to be told
  eFine,    // looked at, and as it should be
};

struct Finding {
  std::string key;  // stable, for scripts; docs/lipc-doctor.md lists them
  eSeverity severity = eSeverity::eFine;
  std::string subject;                // the ID or name that it is about; may be empty
  std::string title;                  // a sentence
  std::vector<std::string> evidence;  // phrases without a full stop
  /// Commands, which begin with a small letter, and sentences; empty where nothing is to be done.
  std::vector<std::string> todo;
  // Texts of other processes in any of these are not escaped.
};

/// Everything that a diagnosis goes by.
struct Exam {
  MachineFacts machine;
  SessionPicture session;             // read withUsers, withRings and withConnections
  std::optional<Watched> watched;     // over cFullWatch; none: what needs it is not judged
  std::vector<Leftover> leftovers{};  // those of several looks
};

/// The findings, wrong ones first. Without `watched`, one names those that need it.
std::vector<Finding> diagnose(const Exam& exam);

/// The command, run as that user.
std::string asUser(std::uint32_t user, const std::string& command);

std::uint64_t pagesOf(std::uint64_t bytes, std::uint64_t pageBytes);
/// Pages of a client's three segments with that many channels each way.
std::uint64_t clientPages(unsigned channels, std::uint64_t pageBytes);
std::uint64_t sessionPages(std::uint64_t pageBytes);

/// How many clients of that many channels each way a session on a machine with these limits has
/// room for, and which limit says so. Not more than the table has rows.
struct ClientRoom {
  bool isSessionPossible = false;
  std::uint64_t clients = 0;
  std::string bound;  // "pages", "segments", "segments of a process", "bytes of a segment", "rows"
};
ClientRoom roomFor(const LimitFacts& limits, unsigned channels);

}  // namespace inspect
