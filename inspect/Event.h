// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// What is seen of a session.
namespace inspect {

/// Something that happened in the session.
/// @ingroup host
struct Event {
  /// What it is; the comments name the fields that it fills beside `kind`. Those of a client also
  /// fill index, id, name, type and the channel counts.
  enum class eKind {
    ePresent,           ///< a client that was there already
    eJoined,            ///< a client joined
    eLeft,              ///< textAfter: of a client that was lost before, else empty
    eLost,              ///< a client that stopped refreshing its stamp; its row was freed, unless
                        ///< textAfter says what was seen instead
    eStampBack,         ///< a lost client refreshes its stamp again
    eRenamed,           ///< textBefore, textAfter
    eParameterChanged,  ///< slot, before, after
    eStringChanged,     ///< slot, textBefore, textAfter

    eConnectionPresent,  ///< that was there already: id, target, wires; so do the next three
    eConnected,          ///< made
    eDisconnected,       ///< removed, or a client asked for that
    eWiresChanged,       ///< also wiresBefore

    eSessionThere,    ///< heartbeat
    eSessionGone,     ///< textAfter: why it cannot be followed, where it is not just gone
    eHeartbeatLost,   ///< heartbeat: where it stands still
    eHeartbeatBack,   ///< heartbeat: advances again
    eHostChanged,     ///< heartbeatBefore, heartbeat: it went back
    ePoolUnreadable,  ///< textAfter: why the connections cannot be read
    ePoolReadable,    ///< they can be read again

    eNote,  ///< textAfter: the host did something about the session
  };
  /// Channel of the source, channel of the target.
  using Wires = std::vector<std::pair<int, int>>;

  eKind kind = eKind::eNote;          ///< says which of the rest count
  int index = -1;                     ///< row
  std::string id;                     ///< of the client; of a connection's source
  std::string name;                   ///< display name
  std::uint32_t type = 0;             ///< four-character code
  unsigned inputChannels = 0;         ///< that it sends
  unsigned outputChannels = 0;        ///< that it receives
  unsigned slot = 0;                  ///< offline parameter index or string slot
  float before = 0.0F;                ///< of a parameter
  float after = 0.0F;                 ///< of a parameter
  std::string textBefore;             ///< of a name or a string
  std::string textAfter;              ///< as well, or a sentence
  std::string target;                 ///< of a connection
  Wires wiresBefore;                  ///< of a connection
  Wires wires;                        ///< of a connection
  bool isAuto = false;                ///< a rule made the connection
  std::uint64_t heartbeatBefore = 0;  ///< where it went back from
  std::uint64_t heartbeat = 0;        ///< as it was seen
};

/// Takes events: called from the host's threads, one call at a time. Must not call the host.
/// @ingroup host
using EventSink = std::function<void(const Event&)>;

}  // namespace inspect
