// SPDX-License-Identifier: BSL-1.0
#include "lipc/client/Join.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <new>

#include "lipc/session/ConnectionPool.h"
#include "lipc/session/Remains.h"
#include "lipc/session/SegmentNames.h"
#include "lipc/util/FixedText.h"
#include "lipc/util/Log.h"
#include "lipc/util/SharedWord.h"
#include "lipc/util/SystemError.h"

namespace LIPC {

/// The mark whose mere existence counts.
struct NoConnectMark;
template <>
inline constexpr std::size_t cShmMinimumBytes<NoConnectMark> = 1;

namespace {

constexpr char cSource[] = "tryConnectWithoutLock";
constexpr int cAnswerTimeoutMS = 2500;

eAlive judgeOwner(const ClientID& id) {
  const ShmManagedOpen<ClientBuffer> owner(id.text().c_str());
  if (owner.get() == nullptr) return eAliveStale;  // a row without a buffer has no living owner
  try {
    return static_cast<eAlive>(owner->isAlive());
  } catch (const std::exception&) {
    return eAliveStale;  // a stamp that is not a time is nobody's
  }
}

}  // namespace

bool Join::isForbidden() {
  return ShmManagedOpen<NoConnectMark>(cNoConnectSegment).get() != nullptr;
}

eVersionStatus Join::checkHost() {
  const ShmManagedOpen<VersionRecord> host(cVersionSegment);
  if (host.get() == nullptr) return eVersionNoHost;
  const VersionRecord record = *host.get();
  if (record.pointerWidthBits != cPointerWidthBits) {
    // deliberate: the session's name at the end belongs to the message.
    Lct::Log(Lct::eLogError, cSource,
             "V3DHost running in wrong architecture (32 bits : should be 64 )LIPC_SESSION");
    return eVersionHost32Bit;
  }
  if (record.protocolVersion > cProtocolVersion) return eVersionHostNewer;
  if (record.protocolVersion < cProtocolVersion) return eVersionHostOlder;
  return eVersionMatches;
}

bool Join::attachSession() {
  mAttachment.mSession = std::make_unique<ShmManagedOpen<SessionBuffer>>(cSessionSegment);
  mAttachment.mSession->populate();  // its rows will be searched to the last
  if (mAttachment.session() != nullptr) return true;
  mAttachment.mSession.reset();
  Lct::Log(Lct::eLogWarn, cSource,
           "\n!!! tryConnectWithoutLock : CAN'T get shared mem Session !!! \n");
  return false;
}

void Join::openSessionSemaphores() {
  const SessionBuffer& session = *mAttachment.session();
  const auto open = [](std::unique_ptr<SemaphoreHandle>& handle, const Semaphore& record) {
    handle = std::make_unique<SemaphoreHandle>(record);
  };
  open(mAttachment.mNewAudioDataAvailableSemaphore, session.newAudioDataSemaphore);
  open(mAttachment.mSessionBufferClientsCanRegisterSemaphore, session.clientsCanRegisterMutex);
  open(mAttachment.mSessionBufferRegistrationEndedSemaphore, session.registrationEndedSemaphore);
  open(mAttachment.mSessionBufferRegistrationSemaphore, session.registrationSemaphore);
}

bool Join::tryRegistrationLock() {
  return mAttachment.mSessionBufferClientsCanRegisterSemaphore->try_wait();
}

Join::eIDState Join::checkID() {
  ClientEntry* row = mAttachment.session()->getClientEntry(mWho.id.id);
  if (row == nullptr) return eIDState::eFree;
  switch (judgeOwner(mWho.id)) {
    case eAliveFresh:
      return eIDState::eInUse;
    case eAliveStale:
      row->release();
      PublishedConnections::withdraw(mWho.id);
      removeRemains(mWho.id, *mAttachment.session());
      break;
    case eAliveUnknown:
      break;
  }
  return eIDState::eCleared;
}

ClientEntry* Join::findRow() {
  ClientEntry* row = mAttachment.session()->getEmptyEntry();
  if (row == nullptr) {
    Lct::Log(Lct::eLogError, cSource, "No empty entry available, the array is full");
  }
  return row;
}

bool Join::claimNames() {
  mObstacle = claimSegmentNames(mWho.id, *mAttachment.session());
  return mObstacle.empty();
}

bool Join::createClientBuffer() {
  const std::string name = mWho.id.text();
  mAttachment.mClientBuffer = std::make_unique<OwnBuffer>(name.c_str(), sizeof(ClientBuffer));
  ClientBuffer* buffer = mAttachment.clientBuffer();
  if (buffer == nullptr) {
    noteMissingSegment(name, sizeof(ClientBuffer), mAttachment.mClientBuffer->error());
    Lct::Log(Lct::eLogError, cSource, "Could not access ClientBuffer");
    return false;
  }
  buffer->id = mWho.id;
  buffer->type = mWho.type;
  buffer->mode = mWho.mode;
  mAttachment.mClientMustDisconnectSemaphore =
      std::make_unique<SemaphoreHandle>(buffer->mustDisconnectSemaphore);
  return isOpen(*mAttachment.mClientMustDisconnectSemaphore, buffer->mustDisconnectSemaphore);
}

/// False, with the reason noted, when the semaphore could not be opened.
bool Join::isOpen(const SemaphoreHandle& handle, const Semaphore& record) {
  if (handle.isOpen()) return true;
  mObstacle = "the semaphore " + fixedText(record.name) + " cannot be opened: " +
              (handle.error() != 0 ? systemErrorText(handle.error()) : "its name is damaged");
  if (handle.error() == EACCES) mObstacle += " (host and participants run under one user)";
  if (handle.error() == ENOSPC) mObstacle += " (shared memory is full)";
  return false;
}

bool Join::hasSessionSemaphores() {
  const SessionBuffer& session = *mAttachment.session();
  return isOpen(*mAttachment.mSessionBufferRegistrationSemaphore, session.registrationSemaphore) &&
         isOpen(*mAttachment.mSessionBufferRegistrationEndedSemaphore,
                session.registrationEndedSemaphore) &&
         isOpen(*mAttachment.mSessionBufferClientsCanRegisterSemaphore,
                session.clientsCanRegisterMutex) &&
         isOpen(*mAttachment.mNewAudioDataAvailableSemaphore, session.newAudioDataSemaphore);
}

void Join::noteMissingSegment(const std::string& name, std::size_t bytes, int error) {
  mObstacle = "the segment " + name + " of " + std::to_string(bytes) +
              " bytes cannot be had: " + systemErrorText(error);
  if (error == ENOSPC || error == EINVAL) mObstacle += " (the system's limits: ipcs -l)";
  if (error == EEXIST) mObstacle += ", and somebody has it attached (ipcs -m)";
}

bool Join::createSlices() {
  return createRing(mAttachment.mSendSlices, cSendSuffix, "send", mWho.inputChannelCount) &&
         createRing(mAttachment.mReturnSlices, cReturnSuffix, "return", mWho.outputChannelCount);
}

/// One ring, created, laid out and put into `slices`; false when it cannot be had.
bool Join::createRing(std::unique_ptr<ShmManagedCreateOpen<SHMSlices>>& slices, const char* suffix,
                      const char* label, std::uint16_t channels) {
  const std::string name = mWho.id.text() + suffix;
  const auto bytes = static_cast<std::size_t>(SHMSlices::sizeOfStruct(channels));
  try {
    slices = std::make_unique<ShmManagedCreateOpen<SHMSlices>>(name.c_str(), bytes);
  } catch (const std::bad_alloc&) {
    Lct::Log(Lct::eLogError, cSource, "Memory allocation failed for SHMSlices (%s)", label);
    return false;
  }
  if (slices->get() == nullptr) {
    noteMissingSegment(name, bytes, slices->error());
    Lct::Log(Lct::eLogError, cSource, "Could not access SHMSlices (%s)", label);
    return false;
  }
  slices->populate();
  slices->get()->allocateChannelCount(channels);
  return true;
}

void Join::fillRow(ClientEntry& row, const std::string& name, const float* offlineParameters,
                   const std::array<std::string, cStringSlotCount>& strings) {
  row.type = mWho.type;
  row.mode = mWho.mode;
  row.inputChannelCount = mWho.inputChannelCount;
  row.outputChannelCount = mWho.outputChannelCount;
  row.setName(name);
  std::memcpy(row.offlineParameters, offlineParameters, sizeof row.offlineParameters);
  for (unsigned slot = 0; slot < cStringSlotCount; ++slot) {
    row.strings[slot].put(strings[slot].c_str(), static_cast<int>(strings[slot].size()));
  }
  fenceWrites();  // with an ID the row is in use
  row.id = mWho.id;
}

void Join::attachPannerValues() {
  mAttachment.mPannerDAWValues.reset();
  mAttachment.mPannerDAWValues =
      std::make_unique<ShmManagedOpen<SHM_Panner_DAW_Values>>(cPannerValuesSegment);
  mAttachment.mPannerDAWValues->populate();
}

void Join::registerWithHost(RegistrationLock& lock, timed_posix_sema_waiter& waiter) {
  askHost(mAttachment, waiter, lock, mWho.id, SessionBuffer::cJoinRequest, cAnswerTimeoutMS);
}

}  // namespace LIPC
