// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inspect/Facts.h"

namespace inspect {

/// Something that a dead process left on this machine and that is provably nobody's.
struct Leftover {
  enum eKind : std::uint8_t { eSegment, eSemaphore, eKeyFile };

  eKind kind = eSegment;
  std::string name;      // of the segment, or the platform's name of the semaphore
  std::string clientID;  // whose it was; empty where that is not known
  std::int64_t id = -1;  // of the segment
  std::uint32_t owner = 0;
  bool isThere = true;   // false: a semaphore that may be there, on a system that does not tell
  std::string evidence;  // phrases without a full stop; texts in them not escaped

  bool operator==(const Leftover& other) const {
    return kind == other.kind && name == other.name && id == other.id;
  }
};

/// Segments, semaphores and key files of clients that are nobody's:
///
///   segment     a client's by name and size, which no process has attached. Whoever removes it
///               looks twice: a client that joins attaches what it made a moment later.
///   semaphore   of an ID with a key file and without a segment but such as above, where no ID with
///               another segment has the same platform name: a client makes its key file first and
///               lets go of its segment last. Goes after the segments.
///               Of an ID without a key file: those in which a client that was being constructed
///               died. They are known by their form, checksum and part of a UUID, and are left
///               alone for their first 10 seconds.
///   key file    of an ID without any segment, a minute old. Harmless: the next client of that ID
///               uses it again.
///
/// The segments of the session as a whole are its host's: Evidence.h.
std::vector<Leftover> leftoversIn(const MachineFacts& facts);

/// Of these facts: the key files, segments and semaphores of this machine. Nothing is asked of any
/// process: of each only the ID is known.
MachineFacts readNames();

}  // namespace inspect
