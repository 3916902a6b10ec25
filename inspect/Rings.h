#pragma once

#include "inspect/Picture.h"

namespace inspect {

/// A ring out of a mapping of its segment, whatever the ring says of itself; nothing where the
/// mapping is too small for one. `isSend`: whether it is a "-send" ring.
std::optional<RingPicture> ringOf(const Mapping& mapping, bool isSend, bool withLevels);

/// Whether the client of a "-return" ring looked for an answer in this slice, `age` blocks behind
/// the newest, and found none: it looks four blocks behind.
bool isMissed(const RingPicture& answer, int age);
/// How many of the slices that the ring still holds were missed, of those that were looked for.
struct MissedCount {
  int missed = 0;
  int looked = 0;
};
MissedCount countMissed(const RingPicture& answer);

}  // namespace inspect
