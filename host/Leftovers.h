#pragma once

#include <string>
#include <vector>

namespace host {

/// What dead clients left on this machine, and what became of it.
struct Leftovers {
  std::vector<std::string> removed;  // a phrase for each
  std::vector<std::string> kept;     // what could not be removed, why, and what to do: sentences
};

/// Removes every client segment to which no process is attached, at two looks, and the semaphores
/// that are provably nobody's:
///
///   of an ID with a key file and without a segment, where no ID with a segment has the same
///   platform name: a client makes its key file first and lets go of its segment last
///   of an ID without a key file: those in which a client that was being constructed died. They are
///   known by their form, checksum and part of a UUID, and are left alone for their first 10
///   seconds. Only where the system can list its semaphores.
///
/// Only while nobody can join: a client that is between making its segment and attaching it would
/// lose it.
Leftovers removeLeftovers();

}  // namespace host
