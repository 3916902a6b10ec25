// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <algorithm>

namespace jack_bridge {

/// Finds by how much one clock is faster than another, from how full a ring between them is: a
/// proportional and integral control, slow enough that nobody hears it work.
///
/// A ring that was filled anew holds a little more or less than it should, by how late a thread was
/// woken just then. So the mean of the first second is what it is kept at, within 2 ms.
///
/// With the fill's own response (it rises by a second a second per unit of correction that is
/// missing) the loop is critically damped and settles in about 20 s.
///
/// Threads: one at a time.
class FillControl {
 public:
  /// `error`: seconds of audio that the ring holds too many; `elapsed`: seconds since the call
  /// before. Returns by how much faster than in theory the ring has to be emptied.
  double update(double error, double elapsed) {
    mSinceRefill += elapsed;
    if (mSinceRefill < cFirstSeconds) {
      mBias += elapsed / mSinceRefill * (error - mBias);
      return mDrift;
    }
    mBias = std::clamp(mBias, -cMostBiasSeconds, cMostBiasSeconds);
    const double share = std::min(1.0, elapsed / cSmoothingSeconds);
    mError += share * (error - mBias - mError);
    mDrift = std::clamp(mDrift + cIntegral * mError * elapsed, -cMostDrift, cMostDrift);
    return std::clamp(cProportional * mError + mDrift, -cMostSpeed, cMostSpeed);
  }
  /// The ring was filled anew: what was learned of the clocks stays.
  void refilled() { mSinceRefill = mBias = mError = 0; }

  /// By how much the clock that fills is faster; 1e-6 is a part in a million.
  double drift() const { return mDrift; }
  /// What the ring holds too many, in seconds, over half a second or so.
  double error() const { return mError; }

 private:
  static constexpr double cFirstSeconds = 1;
  static constexpr double cMostBiasSeconds = 0.002;
  static constexpr double cSmoothingSeconds = 0.5;
  static constexpr double cRate = 0.25;  // radians per second
  static constexpr double cProportional = 2 * cRate;
  static constexpr double cIntegral = cRate * cRate;
  static constexpr double cMostDrift = 0.0005;  // far more than any two cards differ
  static constexpr double cMostSpeed = 0.001;   // less than two cents of a half tone

  double mSinceRefill = 0;  // seconds
  double mBias = 0;         // seconds
  double mError = 0;        // seconds, smoothed
  double mDrift = 0;
};

}  // namespace jack_bridge
