// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <mutex>

#include "host/SessionHost.h"
#include "tests/support/Testing.h"

namespace support {

/// A reference host inside the test's process that remembers what happened.
class TestHost {
 public:
  using Kind = inspect::Event::eKind;

  explicit TestHost(const host::HostOptions& options = {})
      : mHost(std::make_unique<host::SessionHost>(options, [this](const inspect::Event& event) {
          const std::lock_guard lock(mMutex);
          mEvents.push_back(event);
        })) {}

  host::SessionHost* operator->() { return mHost.get(); }
  /// The table as another process sees it: through a mapping of its own.
  LIPC::SessionBuffer& session() { return *mTable.get(); }
  bool hasRow(const std::string& id) {
    return session().getClientIndex(LIPC::ClientID(id)) < LIPC::cMaxClients;
  }
  /// Whether something of this kind has happened to this client.
  bool had(Kind kind, const std::string& id) {
    const std::lock_guard lock(mMutex);
    const auto isIt = [&](const inspect::Event& each) {
      return each.kind == kind && each.id == id;
    };
    return std::any_of(mEvents.begin(), mEvents.end(), isIt);
  }
  bool waitFor(Kind kind, const std::string& id, std::chrono::milliseconds limit) {
    return eventually(limit, [&] { return had(kind, id); });
  }
  /// The texts of all notes.
  std::string notes() {
    const std::lock_guard lock(mMutex);
    std::string all;
    for (const inspect::Event& event : mEvents)
      if (event.kind == Kind::eNote) all += event.textAfter + "\n";
    return all;
  }

 private:
  std::mutex mMutex;
  std::vector<inspect::Event> mEvents;
  std::unique_ptr<host::SessionHost> mHost;
  LIPC::ShmManagedOpen<LIPC::SessionBuffer> mTable{LIPC::cSessionSegment};
};

}  // namespace support
