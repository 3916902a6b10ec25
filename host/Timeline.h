// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <vector>

namespace host {

/// The recent past of what one client sends, by time stamp: blocks of any size go in, any stretch
/// comes out, so that clients of different block sizes meet. Keeps only the channels that somebody
/// listens to.
///
///   ... forgotten ... | begin()  the last 16384 samples  end() |  not there yet
///
/// Threads: one at a time.
class Timeline {
 public:
  /// 341 ms at 48 kHz: sixteen of the largest blocks.
  static constexpr unsigned cCapacity = 16384;

  /// From now on these channels are kept. One that is new starts silent.
  void keep(const std::set<unsigned>& channels);
  const std::set<unsigned>& kept() const { return mKept; }

  /// Makes room for the block [t, t + count) and forgets what no longer fits. A gap before it is
  /// silence. A stamp that goes back forgets what was at and behind it, and where it goes back
  /// behind begin() or leaps ahead by more than cCapacity everything. `count` at most cCapacity.
  void advance(long long t, unsigned count);
  /// Writes a channel's [t, t + count), for which `advance` made room. Null is silence. What is
  /// never written of a stretch holds anything: whoever does not write it forgets it.
  void write(unsigned channel, long long t, unsigned count, const float* samples);
  /// Forgets what was before `t`.
  void forget(long long t) { mBegin = std::max(mBegin, t); }
  /// The end of what has been sent.
  long long end() const { return mEnd; }

  /// True when all of [t, t + count) has been sent, or never will be: it was forgotten.
  bool isPast(long long t, unsigned count) const { return t + count <= mEnd; }
  /// True when the client has not sent all of the stretch, and was at work shortly before it.
  bool isAwaited(long long t, unsigned count) const;
  /// Adds what there is of a channel's [t, t + count) to `out`.
  void addTo(float* out, unsigned channel, long long t, unsigned count) const;

 private:
  /// Where the sample of stamp `t` lies.
  static unsigned placeOf(long long t) {
    return static_cast<unsigned>(static_cast<unsigned long long>(t) % cCapacity);
  }
  template <class Stretch>
  static void forEachStretch(long long t, unsigned count, Stretch stretch);
  void clear(long long t, unsigned count);

  std::set<unsigned> mKept;
  std::map<unsigned, std::vector<float>> mSamples;
  long long mBegin = 0;
  long long mEnd = 0;
};

}  // namespace host
