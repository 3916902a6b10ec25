#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lipc/session/Connection.h"
#include "lipc/session/SessionNames.h"

namespace host {

/// One client as a reader sees it: a copy of its row, and of its stamp.
struct ClientPicture {
  int index = 0;
  std::string id;
  std::string name;
  std::uint32_t type = 0;
  std::uint32_t mode = 0;
  unsigned inputChannels = 0;
  unsigned outputChannels = 0;
  std::array<float, LIPC::cOfflineParameterCount> parameters{};
  std::array<std::string, LIPC::cStringSlotCount> strings;
  /// Age of the keep-alive stamp in seconds; none without a client buffer or with a stamp that is
  /// not a time.
  std::optional<long> stampAgeSeconds;
};

/// The session as a reader sees it.
struct SessionPicture {
  std::uint32_t protocolVersion = 0;
  std::uint32_t pointerWidthBits = 0;
  std::uint64_t heartbeat = 0;
  bool isBeating = false;  // the heartbeat advanced while it was watched
  bool forbidsJoins = false;
  std::string referenceClient;
  std::vector<ClientPicture> clients;
  /// None when the pool is missing or cannot be read.
  std::optional<std::vector<LIPC::Connection>> connections;
};

/// Reads the session without a trace: attaches read-only, makes no key file, takes no lock, opens
/// no semaphore and never joins. Watches the heartbeat for up to `watchMS` milliseconds. Nothing
/// when there is no session table.
std::optional<SessionPicture> readSession(int watchMS);

}  // namespace host
