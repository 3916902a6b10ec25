// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "lipc/realtime/SHMSlices.h"
#include "lipc/session/ShmManaged.h"

/// Which clock a session counts. A bridge on whose server's clock it runs says so in a string of
/// its row: "clock 48000 Hz, JACK default 1.9.21". Who follows another's says "follows jack".
namespace jack_bridge {

/// The string's slot. Slots 0 to 4 are the mixing engine's and the settings'.
inline constexpr int cClockString = 5;

std::string clockText(int rate, const std::string& server);
std::string followsText(const std::string& id);

struct ClockGiver {
  std::string id;
  int row = 0;
  std::string text;
  int rate = 0;
};

/// The clients of the session whose clock others should count, in the order of their rows. Looks
/// through a mapping of its own; joins nothing.
std::vector<ClockGiver> clockGivers();
/// Row and rate of any client; where it says no rate, 0.
std::optional<ClockGiver> clientAsClock(const std::string& id);

/// A block that another client sent.
struct ForeignBlock {
  long long stamp = 0;
  unsigned frames = 0;
  bool operator==(const ForeignBlock&) const = default;
};

/// The newest, of whenever it is; nothing where there is none.
std::optional<ForeignBlock> newestBlockOf(const std::string& id);

/// The blocks that another client sends, as they come.
///
/// Threads: one at a time.
class ForeignClock {
 public:
  using Block = ForeignBlock;

  explicit ForeignClock(std::string id) : mID(std::move(id)) {}

  const std::string& id() const { return mID; }
  /// The newest block; nothing where it is no block, or the client has not sent another for a
  /// quarter of a second.
  std::optional<Block> newest();

 private:
  using Clock = std::chrono::steady_clock;

  void attach(Clock::time_point now);

  const std::string mID;
  std::optional<LIPC::ShmReadOnly<LIPC::SHMSlices>> mRing;
  Clock::time_point mAttached;
  Clock::time_point mMoved;
  std::optional<Block> mLast;
  bool mIsMoving = false;
};

}  // namespace jack_bridge
