// SPDX-License-Identifier: BSL-1.0
#include "lipc/client/AutoConnectThread.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "lipc/util/Threads.h"

namespace LIPC {

void AutoConnectThread::start(int startDelayMS, std::function<void()> body) {
  if (mThread.joinable()) return;
  mStartDelayMS = startDelayMS;
  mStopRequested = false;
  mThread = startThread(std::move(body));
}

void AutoConnectThread::join() {
  if (mThread.joinable()) mThread.join();
}

void AutoConnectThread::sleepStartDelay() const {
  if (mStartDelayMS > 0) std::this_thread::sleep_for(std::chrono::milliseconds(mStartDelayMS));
}

void AutoConnectThread::sleepDisconnected() {
  std::this_thread::sleep_for(std::chrono::milliseconds(cDisconnectedSleepMS));
}

void AutoConnectThread::setLoopDurationMS(int ms) {
  mAutoConnectLoopDurationMS = std::clamp(ms, cShortestLoopMS, cLongestLoopMS);
}

}  // namespace LIPC
