// SPDX-License-Identifier: BSL-1.0

// The thread on which the session's host misbehaves by chance.
#include <algorithm>
#include <cstdio>

#include "host/FaultPlan.h"
#include "host/SessionHost.h"

namespace host {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds cLockInterval(10);

const char* nameOf(FaultPlan::eFault fault) {
  switch (fault) {
    case FaultPlan::eSilent:
      return "silent";
    case FaultPlan::eStallHeartbeat:
      return "heartbeat stalled";
    case FaultPlan::eHeartbeatBack:
      return "heartbeat back by 5";
    case FaultPlan::eHoldLock:
      return "registration lock held";
    case FaultPlan::eNoConnect:
      return "joins forbidden";
    case FaultPlan::eNoAudio:
      break;
  }
  return "no audio";
}

std::string textOf(const FaultPlan::Step& step) {
  char text[96];
  std::snprintf(text, sizeof text, "fault by chance: %s, for %.1f s", nameOf(step.fault),
                static_cast<double>(step.duration.count()) / 1000);
  return text;
}

}  // namespace

void SessionHost::misbehave() {
  FaultPlan plan(*mOptions.faults.seed);
  for (;;) {
    const FaultPlan::Step step = plan.next();
    if (!sleepUnlessBehaving(step.pause)) return;
    reportFromThread(textOf(step));
    switch (step.fault) {
      case FaultPlan::eSilent:
        doFor(step.duration, mMisbehaviour.silent);
        break;
      case FaultPlan::eStallHeartbeat:
        doFor(step.duration, mMisbehaviour.stallHeartbeat);
        break;
      case FaultPlan::eHeartbeatBack:
        mMisbehaviour.stepsBack = 1;
        break;
      case FaultPlan::eHoldLock:
        holdLockFor(step.duration);
        break;
      case FaultPlan::eNoConnect:
        forbidJoinsFor(step.duration);
        break;
      case FaultPlan::eNoAudio:
        doFor(step.duration, mMisbehaviour.noAudio);
        break;
    }
  }
}

void SessionHost::behave() {
  {
    const std::lock_guard lock(mStopMutex);
    mStopFaults = true;
  }
  mStopChanged.notify_all();
  if (mFaultsThread.joinable()) mFaultsThread.join();
}

/// False when the host is to behave from now on.
bool SessionHost::sleepUnlessBehaving(milliseconds duration) {
  std::unique_lock lock(mStopMutex);
  return !mStopChanged.wait_for(lock, duration, [this] { return mStopFaults; });
}

/// Faults that somebody asked for as such stay.
void SessionHost::doFor(milliseconds duration, std::atomic<bool>& fault) {
  const bool before = fault.exchange(true);
  sleepUnlessBehaving(duration);
  fault = before;
}

void SessionHost::holdLockFor(milliseconds duration) {
  bool isHeld = false;
  for (milliseconds waited{0}; waited < duration && !isHeld; waited += cLockInterval)
    isHeld = mClientsCanRegister->try_wait() || !sleepUnlessBehaving(cLockInterval);
  if (!isHeld) return;
  doFor(duration, mMisbehaviour.holdLock);
  if (!mMisbehaviour.holdLock) mClientsCanRegister->post();
}

void SessionHost::forbidJoinsFor(milliseconds duration) {
  if (mOptions.faults.noConnect) return;
  const auto forbid = [this](bool isForbidden) {
    const std::lock_guard lock(mMutex);
    if (isForbidden)
      mSegments->forbidJoins();
    else
      mSegments->allowJoins();
  };
  forbid(true);
  const bool isStopping = !sleepUnlessBehaving(duration);
  if (!isStopping) forbid(false);
}

}  // namespace host
