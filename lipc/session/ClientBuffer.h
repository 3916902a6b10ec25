// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include "lipc/realtime/Semaphore.h"
#include "lipc/realtime/ValueQueue.h"
#include "lipc/session/ClientID.h"

namespace LIPC {

class SemaphoreHandle;

/// What the keep-alive stamp of a client says of it.
/// @ingroup session_table
enum eAlive : int {
  eAliveUnknown = 0,  ///< the stamp's mutex was not to be had within a second
  eAliveStale = 1,    ///< not refreshed for 4 seconds or more
  eAliveFresh = 2,    ///< refreshed less than 4 seconds ago, or stamped in the future
};

/// A client's own segment, named by its ID: through it the host reaches that one client, and others
/// see whether the owner of a name still runs.
///
/// Threads: the owner's auto-connect thread writes the stamp; other processes read it. The
/// keep-alive mutex serialises the two: the writer only tries it, a reader waits a second at most.
/// The queue has one writer (the owner's audio thread) and one reader (the host).
///
/// @ingroup session_table
struct ClientBuffer {
  /// The field's size; a stamp has 15 characters.
  static constexpr std::size_t cTimestampBytes = 64;

  /// Constructs in place over the attached segment; carries a fresh stamp from the start. Throws
  /// what keepAlive throws.
  explicit ClientBuffer(const char* clientID);
  /// Drains the must-disconnect semaphore and unlinks both semaphores.
  ~ClientBuffer();
  ClientBuffer(const ClientBuffer&) = delete;
  ClientBuffer& operator=(const ClientBuffer&) = delete;

  /// Refreshes the stamp; skipped without a word when a reader holds the mutex. Throws
  /// std::runtime_error when the system's time cannot be converted.
  void keepAlive();
  /// The same with a handle that the owner keeps; false when it was skipped.
  bool keepAlive(SemaphoreHandle& mutex);
  /// eAlive of a (usually foreign) buffer. Lets the parser's exception pass when the stamp is not a
  /// time, and currentTime's; the mutex is posted all the same.
  int isAlive();

  /// What `stamp` says at `now` (UTC): fresh below 4 seconds of age, stamps in the future included;
  /// stale otherwise and for special values. Throws what the parser throws.
  static eAlive judgeStamp(const std::string& stamp, const boost::posix_time::ptime& now);
  /// The present UTC time in whole seconds; throws std::runtime_error.
  static boost::posix_time::ptime currentTime();
  /// The stamp's text without the mutex: for readers that leave no trace and can bear a torn text.
  std::string_view stampText() const;

  //                                              offset  size  written by
  ClientID id;                               ///<      0    65  the owner
  char padding0[3];                          ///<     65     3
  std::uint32_t type;                        ///<     68     4  the owner; four-character code
  std::uint32_t mode;                        ///<     72     4  the owner; eClientMode bits
  char reserved[64];                         ///<     76    64  not initialised
  Semaphore mustDisconnectSemaphore;         ///<    140   260  the owner; posted: leave
  ValueQueue newDataQueue;                   ///<    400   520  read index: host; the rest: owner
  char keepAliveTimestamp[cTimestampBytes];  ///<    920    64  the owner; UTC "YYYYMMDDTHHMMSS"
  Semaphore keepAliveMutex;                  ///<    984   260  the owner
  char padding1[4];                          ///<   1244     4
};

static_assert(sizeof(ClientBuffer) == 1248);
static_assert(offsetof(ClientBuffer, id) == 0);
static_assert(offsetof(ClientBuffer, type) == 68);
static_assert(offsetof(ClientBuffer, mode) == 72);
static_assert(offsetof(ClientBuffer, mustDisconnectSemaphore) == 140);
static_assert(offsetof(ClientBuffer, newDataQueue) == 400);
static_assert(offsetof(ClientBuffer, newDataQueue) + offsetof(ValueQueue, queueWrite) == 404);
static_assert(offsetof(ClientBuffer, newDataQueue) + offsetof(ValueQueue, queue) == 408);
static_assert(offsetof(ClientBuffer, keepAliveTimestamp) == 920);
static_assert(offsetof(ClientBuffer, keepAliveMutex) == 984);
static_assert(std::is_standard_layout_v<ClientBuffer>);

}  // namespace LIPC
