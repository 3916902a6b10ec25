// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inspect/Facts.h"
#include "inspect/Source.h"
#include "lipc/realtime/SHMSlices.h"
#include "lipc/session/ClientEntry.h"
#include "lipc/session/Connection.h"
#include "lipc/session/SessionNames.h"

/// A session as a reader sees it: copies of what its records hold. Texts are other processes'
/// bytes: they may hold anything but a NUL, and are escaped by whoever prints them.
namespace inspect {

/// What a client's keep-alive stamp says of it. Evidence.h has what is known beyond the stamp.
enum class eLife {
  eAlive,    // stamped less than 4 seconds ago
  eStale,    // not
  eUnknown,  // no client buffer of this ID, or a stamp that is no time
};

struct SlicePicture {
  std::int64_t timeStamp = 0;     // samples
  std::uint32_t sampleCount = 0;  // a channel
  bool isReady = false;
  std::string clientID;  // who wrote it
};

struct RingPicture {
  unsigned channels = 0;  // as its segment has room for
  int newest = 0;         // index of the newest slice
  std::array<SlicePicture, LIPC::SHMSlices::cSliceCount> slices;
  /// Of the newest slice that is ready, or with a "-send" ring the one before the newest, which its
  /// client has finished: the largest magnitude of each channel, linear. Only with `withLevels`.
  std::vector<float> peaks;

  /// The slice `age` blocks behind the newest, 0 to 5.
  const SlicePicture& behind(int age) const {
    constexpr int count = LIPC::SHMSlices::cSliceCount;
    return slices[static_cast<std::size_t>((newest + count - age) % count)];
  }
};

/// A client's own segment.
struct BufferPicture {
  std::string id;
  std::uint32_t type = 0;
  std::uint32_t mode = 0;
  std::string stamp;                    // as it stands there
  std::optional<long> ageSeconds;       // of the stamp; none where it is no time
  unsigned blocksWaiting = 0;           // announced and not yet read by the host, 0 to 63
  std::string mustDisconnectSemaphore;  // platform names; empty where the record is malformed
  std::string keepAliveSemaphore;
};

/// Seconds since a client's stamp; nothing where it is no time.
std::optional<long> ageOfStamp(const std::string& stamp, std::int64_t now);

struct ClientPicture {
  int index = 0;  // row
  std::string id;
  std::string name;
  std::uint32_t type = 0;
  std::uint32_t mode = 0;
  unsigned inputChannels = 0;
  unsigned outputChannels = 0;
  std::array<float, LIPC::cOfflineParameterCount> parameters{};
  std::array<std::string, LIPC::cStringSlotCount> strings;

  eLife life = eLife::eUnknown;
  std::optional<BufferPicture> buffer;  // none where its name leads to no buffer of this ID
  /// Client buffer, "-send", "-return"; with what is known of the processes that made and used
  /// them. Only with `withSegments`.
  std::array<std::optional<SegmentFacts>, 3> segments;
  std::optional<RingPicture> send;    // with `withRings`
  std::optional<RingPicture> answer;  // the "-return" ring; with `withRings`

  std::optional<long> stampAgeSeconds() const { return buffer ? buffer->ageSeconds : std::nullopt; }
};

struct SessionPicture {
  enum eState : std::uint8_t {
    eNone,          // there is no session
    eNoPermission,  // there is one that this user may not read
    eTooSmall,      // its table's segment cannot hold a table
    eForeign,       // its version or width is another: its rows are not read
    eOverwritten,   // all of its rows have one ID, which no session comes to by itself
    eRead,
  };

  eState state = eNone;
  /// Of the version record; 0 where there is none, and then the table is read all the same.
  std::uint32_t protocolVersion = 0;
  std::uint32_t pointerWidthBits = 0;
  std::uint64_t heartbeat = 0;
  bool isBeating = false;  // it advanced while it was watched
  bool forbidsJoins = false;
  std::string referenceClient;
  /// Platform names of the session's semaphores, by the table; empty where a record is malformed.
  std::string registrationSemaphore;
  std::string registrationEndedSemaphore;
  std::string newAudioDataSemaphore;
  std::string registrationLock;
  /// The last request in the table: who asked to join or to leave last.
  std::string lastRequest;
  bool isLastRequestJoin = false;
  std::int64_t time = 0;  // when it was read; seconds since 1970
  std::optional<SegmentFacts> table;
  std::vector<ClientPicture> clients;

  /// None when the pool is missing or cannot be read: then `poolError` says why.
  std::optional<std::vector<LIPC::Connection>> connections;
  std::string poolError;
  bool isPoolDamaged = false;
  /// With `withSettings`: what explains a settings client's values.
  SettingsFacts settings;

  const ClientPicture* find(const std::string& id) const;
};

struct ReadOptions {
  int watchHeartbeatMS = 0;  // at the longest; ends as soon as it advances
  bool withRings = false;
  bool withLevels = false;  // also looks at samples
  bool withConnections = true;
  bool withSegments = true;   // also what is known of each client's segments
  bool withUsers = false;     // also who has the segments attached
  bool withSettings = false;  // also the settings files
  /// The table's first rows alone: who looks many times a second need not go through its megabytes
  /// each time.
  int rows = LIPC::cMaxClients;
};

SessionPicture readSession(Source& source, const ReadOptions& options);
/// What a row says of its client, and nothing that is looked up elsewhere.
ClientPicture pictureOf(int index, const LIPC::ClientEntry& row);
/// What state the session is in whose table was attached as `table`; reads no rows.
SessionPicture::eState readState(Source& source, const Mapping& table);

}  // namespace inspect
