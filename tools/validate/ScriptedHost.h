// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <mutex>
#include <string>

#include "host/SessionHost.h"
#include "tools/validate/Checks.h"

namespace tools::validate {

/// A client has this long for its first join, its start delay included.
inline constexpr std::chrono::seconds cFirstJoinTime{15};
/// A client that waits for a host has this long to join one: the longest that the contract lets it
/// be held up by the host before (3 s for the registration lock, 1.5 s for an answer, 2.5 s for a
/// join's), and a margin.
inline constexpr std::chrono::seconds cJoinTime{10};
/// A connected client has this long to notice a heartbeat that stands still (eleven passes of half
/// a second at most) or goes back, from its join on.
inline constexpr std::chrono::seconds cNoticeTime{8};

/// A host in the check's process that counts what the clients of the library's type do.
///
/// Threads: constructed and used on the check's own.
class ScriptedHost {
 public:
  /// Ends the whole run where a session is alive or none can be made. `what` names it in the steps.
  ScriptedHost(Context& context, std::uint32_t type, const host::HostOptions& options,
               std::string what);
  ~ScriptedHost();
  ScriptedHost(const ScriptedHost&) = delete;
  ScriptedHost& operator=(const ScriptedHost&) = delete;

  host::SessionHost& session() { return *mHost; }
  int joins();
  /// The ID under which the client joined last.
  std::string id();
  /// Whether a row of the type stands in the table.
  bool hasRow();
  /// Waits until the clients of the type have joined so often; false when the time is over.
  bool waitForJoins(int count, std::chrono::milliseconds time);
  /// The same for leaves. Fails the check when the host had to free the client's row itself.
  bool waitForLeaves(int count, std::chrono::milliseconds time);
  /// As waitForJoins for the first; fails the check when the time is over.
  void requireJoin(std::chrono::milliseconds time);
  /// Ends the session in order. Returns the IDs of the clients that did not leave when asked.
  std::vector<std::string> stop();

 private:
  void note(const inspect::Event& event);
  bool waitUntil(const std::string& what, std::chrono::milliseconds time,
                 const std::function<bool()>& condition);

  Context& mContext;
  const std::uint32_t mType;
  const std::string mWhat;
  std::mutex mMutex;  // guards what follows, up to the host
  int mJoins = 0;
  int mLeaves = 0;
  int mLosses = 0;
  std::string mID;
  std::string mOtherTypes;  // that joined too
  std::unique_ptr<host::SessionHost> mHost;
};

}  // namespace tools::validate
