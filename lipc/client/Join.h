// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <array>
#include <string>

#include "lipc/client/Registration.h"
#include "lipc/client/SessionAttachment.h"
#include "lipc/client/VersionStatus.h"

namespace LIPC {

/// Who joins: what goes into the row and the client buffer besides name, parameters and strings.
struct Participant {
  ClientID id;
  std::uint32_t type = 0;
  std::uint32_t mode = 0;
  std::uint16_t inputChannelCount = 0;
  std::uint16_t outputChannelCount = 0;
};

/// The steps of a join, in the order in which a client takes them. Each returns whether the join
/// can go on and logs why not under "tryConnectWithoutLock"; what was attached until then stays in
/// the attachment for the caller to release. Why the system refused something is in `obstacle`.
///
/// What a step attaches is mapped with all its pages at once, which takes a quarter less than to
/// meet them one by one, and leaves none for later.
///
/// Threads: the client's auto-connect thread, with the client's mutex held.
class Join {
 public:
  enum class eIDState {
    eFree,     // no row carries it
    eCleared,  // a dead owner's row was freed, or the owner could not be judged: try again
    eInUse,    // a live client carries it
  };

  Join(const Participant& who, SessionAttachment& attachment)
      : mWho(who), mAttachment(attachment) {}

  /// While the segment "LIPC_SESSION_NOCONNECT" exists the host wants no new clients.
  static bool isForbidden();
  static eVersionStatus checkHost();

  bool attachSession();
  void openSessionSemaphores();
  bool tryRegistrationLock();
  /// False when one of the session's semaphores could not be opened. deliberate: the join goes on
  /// without it, since an error never blocks a caller.
  bool hasSessionSemaphores();
  /// Looks for a row that carries the ID already. A dead owner's remains (row, connection list,
  /// segments, semaphores) are taken away.
  eIDState checkID();
  /// The first free row, or null.
  ClientEntry* findRow();
  /// Makes sure that the client's names lead to no segment that is another's.
  bool claimNames();
  /// Also opens the client's own semaphore, without which it would leave again at once.
  bool createClientBuffer();
  bool createSlices();
  void fillRow(ClientEntry& row, const std::string& name, const float* offlineParameters,
               const std::array<std::string, cStringSlotCount>& strings);
  void attachPannerValues();
  void registerWithHost(RegistrationLock& lock, timed_posix_sema_waiter& waiter);

  /// What stood in the way so far, with the system's own reason: a clause for people, or empty.
  const std::string& obstacle() const { return mObstacle; }

 private:
  bool isOpen(const SemaphoreHandle& handle, const Semaphore& record);
  bool createRing(std::unique_ptr<ShmManagedCreateOpen<SHMSlices>>& slices, const char* suffix,
                  const char* label, std::uint16_t channels);
  void noteMissingSegment(const std::string& name, std::size_t bytes, int error);

  const Participant& mWho;
  SessionAttachment& mAttachment;
  std::string mObstacle;
};

}  // namespace LIPC
