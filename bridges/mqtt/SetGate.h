// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bridges/mqtt/Topic.h"

namespace mqtt {

/// Which values of this machine's clients may be set from elsewhere: those that match a pattern
/// such as "desk/parameters/40", "desk/*/*" or "panner-*/strings/5". A pattern has the three levels
/// of a topic behind "clients/", the ID escaped as there; "*" stands for any characters of a level.
///
/// Pure. Threads: one.
class SetGate {
 public:
  /// Throws tools::Failure where one is no pattern.
  SetGate(std::vector<std::string> patterns, const SiteTopics& topics);

  /// What to subscribe to; nothing without patterns.
  std::vector<std::string> filters() const;

  struct Target {
    std::string id;
    tools::ValuePlace place;
  };
  /// The value that a message to this topic wants to set; nothing where it is no set topic. Throws
  /// BadMessage where there is no such value, or no pattern lets it through.
  std::optional<Target> target(const std::string& topic) const;

 private:
  const std::vector<std::string> mPatterns;
  const SiteTopics mTopics;
};

/// Writes the value that the payload wants into the client's row. Throws BadMessage where it wants
/// none that the row can have, or the row is gone.
void writeValue(const SetGate::Target& target, std::string_view payload);

}  // namespace mqtt
