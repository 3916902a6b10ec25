// SPDX-License-Identifier: BSL-1.0
#include "tools/validate/ScriptedHost.h"

#include <thread>
#include <utility>

#include <fmt/core.h>

#include "tools/ExitStatus.h"
#include "tools/Look.h"
#include "tools/Text.h"

namespace tools::validate {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// What a start or a stop of this project's own host takes at the most.
constexpr milliseconds cHostTime(20'000);
constexpr milliseconds cMargin(5'000);

}  // namespace

ScriptedHost::ScriptedHost(Context& context, std::uint32_t type, const host::HostOptions& options,
                           std::string what)
    : mContext(context), mType(type), mWhat(std::move(what)) {
  context.reporter.step("the start of " + mWhat, cHostTime);
  try {
    mHost = std::make_unique<host::SessionHost>(
        options, [this](const inspect::Event& event) { note(event); });
  } catch (const host::SessionAliveError& error) {
    context.reporter.giveUp(eExitSessionAlive, error.what());
  } catch (const host::HostError& error) {
    context.reporter.giveUp(eExitSessionFailed,
                            std::string("the session cannot be made: ") + error.what());
  }
}

ScriptedHost::~ScriptedHost() {
  stop();
}

std::vector<std::string> ScriptedHost::stop() {
  mContext.reporter.step("the stop of " + mWhat, cHostTime);
  return mHost->stop();
}

void ScriptedHost::note(const inspect::Event& event) {
  using Kind = inspect::Event::eKind;
  const std::lock_guard lock(mMutex);
  if (event.kind == Kind::eJoined && event.type != mType)
    mOtherTypes += (mOtherTypes.empty() ? "" : ", ") + typeText(event.type);
  if (event.type != mType) return;
  if (event.kind == Kind::eJoined) {
    ++mJoins;
    mID = event.id;
  }
  if (event.kind == Kind::eLeft) ++mLeaves;
  if (event.kind == Kind::eLost) ++mLosses;
}

int ScriptedHost::joins() {
  const std::lock_guard lock(mMutex);
  return mJoins;
}

std::string ScriptedHost::id() {
  const std::lock_guard lock(mMutex);
  return mID;
}

bool ScriptedHost::hasRow() {
  const LIPC::ClientEntry* const rows = mHost->session().entries;
  return std::any_of(rows, rows + LIPC::cMaxClients, [this](const LIPC::ClientEntry& row) {
    return !row.isFree() && row.type == mType;
  });
}

bool ScriptedHost::waitUntil(const std::string& what, milliseconds time,
                             const std::function<bool()>& condition) {
  mContext.reporter.step(what, time + cMargin);
  const auto deadline = steady_clock::now() + time;
  while (!condition()) {
    if (steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(cLook);
  }
  return true;
}

bool ScriptedHost::waitForJoins(int count, milliseconds time) {
  return waitUntil("the wait for the client to join " + mWhat, time,
                   [&] { return joins() >= count; });
}

bool ScriptedHost::waitForLeaves(int count, milliseconds time) {
  int losses = 0;
  const bool hasLeft = waitUntil("the wait for the client to leave " + mWhat, time, [&] {
    const std::lock_guard lock(mMutex);
    losses = mLosses;
    return mLeaves >= count || losses != 0;
  });
  if (losses != 0) {
    mContext.reporter.fail(
        mWhat + " had to free the client's row, since its stamp was not refreshed.",
        "Refresh the stamp at each pass for as long as the client is in the session, and leave "
        "with a request.");
  }
  return hasLeft;
}

void ScriptedHost::requireJoin(milliseconds time) {
  if (waitForJoins(1, time)) return;
  const std::lock_guard lock(mMutex);
  const std::string others =
      mOtherTypes.empty() ? "" : fmt::format(" Clients of type {} did.", mOtherTypes);
  mContext.reporter.fail(
      fmt::format("no client of type {} joined {} within {} s.{}", typeText(mType), mWhat,
                  time.count() / 1000, others),
      "Start a client in loadLibrary, of the type that getClientType returns, that tries to join "
      "for as long as the library is loaded.");
}

}  // namespace tools::validate
