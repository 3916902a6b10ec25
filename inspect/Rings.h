// SPDX-License-Identifier: BSL-1.0
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

/// How a block of a "-send" ring follows the one before it. A client counts the samples of one
/// clock, so a block's stamp is that of the one before plus its samples; two samples more or less
/// still count as that, as they do where slices are looked up.
struct BlockStep {
  enum eKind : std::uint8_t {
    eUnknown,  // one of the two was never sent, or the one before is no longer held
    eNext,
    eMissing,  // later by whole blocks: `missedBlocks` were not sent
    eJump,     // elsewhere: the client's clock was set, or its samples do not follow one another
  };

  eKind kind = eUnknown;
  std::int64_t missedBlocks = 0;
};
BlockStep stepBefore(const RingPicture& send, int age);
/// "unknown", "next", "missing" or "jump"
const char* stepName(BlockStep::eKind kind);

/// What the client found when it looked for the answer that was due with its newest block.
enum class eAnswer {
  eNotDue,    // it has not sent enough blocks
  eThere,     // with or without audio
  eNotReady,  // the host has not answered in time: silence
  eNoSlice,   // no slice has its stamp, since the stamps do not follow one another: silence
};
eAnswer newestAnswer(const RingPicture& answer);

}  // namespace inspect
