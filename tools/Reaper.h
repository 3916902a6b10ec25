// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

#include "inspect/Diagnosis.h"

/// What `lipc reap` finds and what it does about it.
namespace tools {

/// Something that was judged, and what is to become of it.
struct Verdict {
  enum class eAction {
    eRemove,
    eKeep,
    eOtherUser,  // dead, and to be removed by its owner
  };

  std::string what;  // "session", "client", "segment", "semaphore" or "key file"
  std::string name;
  std::string verdict;  // "dead", "held", "alive" or "unknown"
  eAction action = eAction::eKeep;
  std::string title;                  // a sentence
  std::vector<std::string> evidence;  // phrases; texts in them not escaped, as in the others
};

struct ReapPlan {
  std::vector<Verdict> verdicts;  // what is removed first
  bool isSessionDead = false;     // all of it goes; else `clients`
  std::vector<inspect::ClientPicture> clients;
  std::vector<inspect::Leftover> leftovers;

  long count(Verdict::eAction action) const;
};

/// Throws Failure for a session that nobody can look into.
ReapPlan planReap(const inspect::Exam& exam);

struct Reaped {
  std::vector<std::string> removed;  // a phrase for each
  std::vector<std::string> kept;     // sentences: what stays after all, and why
};

/// Removes what the plan says and a second look still finds dead: with the hosts' lock where the
/// session is dead, and else with its registration lock, which it waits for for a while, and which
/// no signal but SIGKILL has it keep. Throws Failure.
Reaped reap(const ReapPlan& plan, const inspect::Exam& exam, inspect::Source& source);

}  // namespace tools
