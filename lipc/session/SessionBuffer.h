// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <type_traits>

#include "lipc/realtime/Semaphore.h"
#include "lipc/session/ClientEntry.h"
#include "lipc/session/ClientID.h"

namespace LIPC {

struct Connection;

/// The session table: the segment "LIPC_SESSION" that every participant maps. The host constructs
/// it; clients attach it, claim a free row and read the rows of others.
///
/// Registration is serialised by the clients-can-register mutex and signalled through the
/// registration and registration-ended semaphores:
///
///     client (holds the mutex)                     host
///     writeRequest, drains "ended"
///     posts "registration"                    -->  reads the request, completes it
///     waits for "ended", with a time-out      <--  posts "ended", then the mutex
///
/// Threads: the queries take no lock and may meet a half-written row; nothing they read is used as
/// an index or size unchecked. They are linear scans over 1024 rows. A row that they return is the
/// shared one, good while the table is mapped. An application looks through Client's own queries.
///
/// @ingroup session_table
struct SessionBuffer {
  /// The two requests, as the 16-bit word at bytes 64 and 65 holds them: the byte that ends
  /// `sessionID` and the request byte are written in one store.
  static constexpr std::uint16_t cJoinRequest = 0x0100;
  /// The other; both words are little-endian.
  static constexpr std::uint16_t cLeaveRequest = 0x0000;

  /// Run once, by the host, over the freshly attached memory. Drains the registration semaphore of
  /// counts that an earlier session left. `heartbeat` is left as the memory holds it.
  explicit SessionBuffer(const char* sessionName);
  /// Unlinks the four semaphores, the last constructed first.
  ~SessionBuffer() = default;
  SessionBuffer(const SessionBuffer&) = delete;
  SessionBuffer& operator=(const SessionBuffer&) = delete;

  /// Writes `id` and a request into the header; the 16-bit word last, with release order.
  void writeRequest(const ClientID& id, std::uint16_t request);
  /// The pending request's ID; true in `isJoin` when it asks to join.
  ClientID readRequest(bool& isJoin) const;

  /// First row whose ID equals `id` in its 64 characters, else null. Free rows are not skipped: an
  /// empty `id` finds the first row with an empty ID. Null reads as empty.
  ClientEntry* getClientEntry(const char* id);
  /// The same to read.
  const ClientEntry* getClientEntry(const char* id) const;
  /// The row, or null unless 0 <= index < 1024.
  const ClientEntry* getClientEntry(int index) const;
  /// Index of the first row with that ID, else 1024.
  int getClientIndex(const ClientID& id) const;
  /// Visits rows in index order until a visit returns false. False: stopped on a row.
  bool scanClientEntries(ClientEntry::Predicate& predicate) const;
  /// Visits one row; an index above 1023 (or negative) visits none.
  void scanClientEntryAt(int index, ClientEntry::Predicate& predicate) const;
  /// First free row, else null. Claimed only under the clients-can-register mutex.
  ClientEntry* getEmptyEntry();
  /// Rows in use of that type; type 0: all rows in use.
  unsigned getClientEntriesCount(int type) const;
  /// Replaces `out` by copies of the rows whose type equals `type`; returns their number.
  /// deliberate: unlike the count, 0 is not "all", and free rows are not left out, so type 0 yields
  /// every row of type 0, the free ones included.
  unsigned getClientEntries(int type, std::deque<ClientEntry>& out) const;

  /// Appends the session's connections that concern `id` to `out` and returns its size.
  /// `type` 0: those with `id` as source or target, or, with `includeOwned`, as owner. Another
  /// `type`: those to or from a peer of that type; see the source for a deliberate oddity.
  /// Connections marked disconnected are included. Without a connection list, prints a line and
  /// returns 0. Throws boost::interprocess::interprocess_exception when the pool is missing.
  unsigned getClientConnections(const ClientID& id, std::list<Connection>& out, int type,
                                bool includeOwned) const;
  /// Replaces `out` by copies of the rows of the clients that `id` is connected to, disconnected
  /// ones left out; `type` 0: of every type. Returns their number; throws as above.
  unsigned getConnectedClients(const ClientID& id, std::deque<ClientEntry>& out, int type) const;

  //                                         offset     size  written by
  ClientID sessionID;                    ///<      0       65  the client with a request
  std::uint8_t registrationRequest;      ///<     65        1  same; 1 join, 0 leave
  char padding0[2];                      ///<     66        2
  Semaphore registrationSemaphore;       ///<     68      260  host
  Semaphore registrationEndedSemaphore;  ///<    328      260  host
  Semaphore newAudioDataSemaphore;       ///<    588      260  host
  std::uint64_t reserved;                ///<    848        8  0
  Semaphore clientsCanRegisterMutex;     ///<    856      260  host
  char padding1[4];                      ///<   1116        4
  ClientEntry entries[cMaxClients];      ///<   1120  3457024  each row by its client
  std::uint64_t heartbeat;               ///< 3458144       8  host; counts while it lives
  ClientID referenceClientID;            ///< 3458152      65  host; unset: empty, "Default"
};

static_assert(sizeof(SessionBuffer) == 3458224);
static_assert(offsetof(SessionBuffer, sessionID) == 0);
static_assert(offsetof(SessionBuffer, registrationRequest) == 65);
static_assert(offsetof(SessionBuffer, registrationSemaphore) == 68);
static_assert(offsetof(SessionBuffer, registrationEndedSemaphore) == 328);
static_assert(offsetof(SessionBuffer, newAudioDataSemaphore) == 588);
static_assert(offsetof(SessionBuffer, reserved) == 848);
static_assert(offsetof(SessionBuffer, clientsCanRegisterMutex) == 856);
static_assert(offsetof(SessionBuffer, entries) == 1120);
static_assert(offsetof(SessionBuffer, heartbeat) == 3458144);
static_assert(offsetof(SessionBuffer, referenceClientID) == 3458152);
static_assert(std::is_standard_layout_v<SessionBuffer>);

}  // namespace LIPC
