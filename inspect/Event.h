#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace inspect {

/// Something that happened in the session.
struct Event {
  enum class eKind {
    eJoined,
    eLeft,
    eLost,              // a client that stopped refreshing its stamp; its row was freed
    eRenamed,           // textBefore, textAfter
    eParameterChanged,  // slot, before, after
    eStringChanged,     // slot, textBefore, textAfter
    eNote,              // textAfter: the host did something about the session
  };

  eKind kind = eKind::eNote;
  int index = -1;          // row
  std::string id;          // of the client
  std::string name;        // display name
  std::uint32_t type = 0;  // four-character code
  unsigned slot = 0;       // offline parameter index or string slot
  float before = 0.0F;
  float after = 0.0F;
  std::string textBefore;
  std::string textAfter;
};

/// Called from the host's threads, one call at a time.
using EventSink = std::function<void(const Event&)>;

}  // namespace inspect
