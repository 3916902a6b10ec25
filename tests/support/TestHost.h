#pragma once

#include <mutex>

#include "host/SessionHost.h"
#include "tests/support/Testing.h"

namespace support {

/// A reference host inside the test's process that remembers what happened.
class TestHost {
 public:
  explicit TestHost(const host::HostOptions& options = {})
      : mHost(std::make_unique<host::SessionHost>(
            options, [this](const host::Event& event) { remember(event); })) {}

  host::SessionHost* operator->() { return mHost.get(); }
  /// The table as another process sees it: through a mapping of its own.
  LIPC::SessionBuffer& session() { return *mTable.get(); }

  /// Events of a kind that name this client; an empty ID counts all of the kind.
  int count(host::Event::Kind kind, const std::string& id) {
    const std::lock_guard lock(mMutex);
    int found = 0;
    for (const host::Event& event : mEvents) {
      if (event.kind == kind && (id.empty() || event.id == id)) ++found;
    }
    return found;
  }

  bool waitFor(host::Event::Kind kind, const std::string& id, std::chrono::milliseconds limit,
               int times = 1) {
    return eventually(limit, [&] { return count(kind, id) >= times; });
  }

  bool hasRow(const std::string& id) {
    return session().getClientIndex(LIPC::ClientID(id)) < LIPC::cMaxClients;
  }

  /// The texts of all notes.
  std::string notes() {
    const std::lock_guard lock(mMutex);
    std::string all;
    for (const host::Event& event : mEvents) {
      if (event.kind == host::Event::Kind::eNote) all += event.textAfter + "\n";
    }
    return all;
  }

 private:
  void remember(const host::Event& event) {
    const std::lock_guard lock(mMutex);
    mEvents.push_back(event);
  }

  std::mutex mMutex;
  std::vector<host::Event> mEvents;
  std::unique_ptr<host::SessionHost> mHost;
  LIPC::ShmManagedOpen<LIPC::SessionBuffer> mTable{LIPC::cSessionSegment};
};

}  // namespace support
