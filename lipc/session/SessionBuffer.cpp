// SPDX-License-Identifier: BSL-1.0
#include "lipc/session/SessionBuffer.h"

#include <cstdio>
#include <string>

#include "lipc/realtime/SemaphoreHandle.h"
#include "lipc/session/Connection.h"
#include "lipc/session/ConnectionPool.h"
#include "lipc/session/ShmPtr.h"
#include "lipc/util/FixedText.h"
#include "lipc/util/SharedWord.h"

namespace LIPC {
namespace {

/// The two bytes at 64 and 65 as one word, whatever the fields there are.
using RequestWord = std::uint16_t __attribute__((may_alias));
constexpr std::size_t cRequestWordOffset = 64;

RequestWord& requestWord(SessionBuffer& session) {
  return *reinterpret_cast<RequestWord*>(reinterpret_cast<char*>(&session) + cRequestWordOffset);
}

const RequestWord& requestWord(const SessionBuffer& session) {
  return *reinterpret_cast<const RequestWord*>(reinterpret_cast<const char*>(&session) +
                                               cRequestWordOffset);
}

std::string named(const char* sessionName, const char* suffix) {
  return std::string(sessionName) + suffix;
}

}  // namespace

SessionBuffer::SessionBuffer(const char* sessionName)
    : registrationSemaphore(named(sessionName, cRegistrationSuffix).c_str(), 0),
      registrationEndedSemaphore(named(sessionName, cRegistrationEndedSuffix).c_str(), 0),
      newAudioDataSemaphore(named(sessionName, cNewAudioDataSuffix).c_str(), 0),
      reserved(0),
      clientsCanRegisterMutex(named(sessionName, cClientsCanRegisterSuffix).c_str(), 1) {
  SemaphoreHandle(registrationSemaphore).clear();
}

void SessionBuffer::writeRequest(const ClientID& id, std::uint16_t request) {
  setFixedText(sessionID.id, id.view());
  __atomic_store_n(&requestWord(*this), request, __ATOMIC_RELEASE);
}

ClientID SessionBuffer::readRequest(bool& isJoin) const {
  const std::uint16_t request = __atomic_load_n(&requestWord(*this), __ATOMIC_ACQUIRE);
  isJoin = (request >> 8) == 1;
  return sessionID;
}

ClientEntry* SessionBuffer::getClientEntry(const char* id) {
  return const_cast<ClientEntry*>(std::as_const(*this).getClientEntry(id));
}

const ClientEntry* SessionBuffer::getClientEntry(const char* id) const {
  return getClientEntry(getClientIndex(ClientID(id)));
}

const ClientEntry* SessionBuffer::getClientEntry(int index) const {
  return static_cast<unsigned>(index) < unsigned{cMaxClients} ? &entries[index] : nullptr;
}

int SessionBuffer::getClientIndex(const ClientID& id) const {
  int index = 0;
  while (index < cMaxClients && !entries[index].id.equals(id))
    ++index;
  return index;
}

bool SessionBuffer::scanClientEntries(ClientEntry::Predicate& predicate) const {
  for (const ClientEntry& entry : entries) {
    if (!predicate.test(entry)) return false;
  }
  return true;
}

void SessionBuffer::scanClientEntryAt(int index, ClientEntry::Predicate& predicate) const {
  if (const ClientEntry* entry = getClientEntry(index); entry != nullptr) predicate.test(*entry);
}

ClientEntry* SessionBuffer::getEmptyEntry() {
  for (ClientEntry& entry : entries) {
    if (entry.isFree()) return &entry;
  }
  return nullptr;
}

unsigned SessionBuffer::getClientEntriesCount(int type) const {
  const auto wanted = static_cast<std::uint32_t>(type);
  unsigned count = 0;
  for (const ClientEntry& entry : entries) {
    if (!entry.isFree() && (wanted == 0 || entry.type == wanted)) ++count;
  }
  return count;
}

unsigned SessionBuffer::getClientEntries(int type, std::deque<ClientEntry>& out) const {
  out.clear();
  for (const ClientEntry& entry : entries) {
    if (entry.type == static_cast<std::uint32_t>(type)) out.push_back(entry);
  }
  return static_cast<unsigned>(out.size());
}

unsigned SessionBuffer::getClientConnections(const ClientID& id, std::list<Connection>& out,
                                             int type, bool includeOwned) const {
  if (!id.isDefined()) return static_cast<unsigned>(out.size());
  const ShmPtr<SharedConnectionList> connections(cConnectionListName);
  if (connections.ptr == nullptr) {
    std::printf("\n!! getClientConnections : lSessionConnections == 0 !! ");
    return 0;
  }

  const auto rowOf = [this](const ClientID& peer) { return getClientEntry(getClientIndex(peer)); };
  // deliberate: for a connection that does not concern `id`, the peer found for an earlier one
  // still counts, so that connections between two other clients may be returned after it.
  const ClientEntry* peer = nullptr;
  forEachConnection(connections.pool(), *connections.ptr, [&](const Connection& shared) {
    const Connection connection = shared;
    const bool isSource = id == connection.source;
    const bool isTarget = id == connection.target;
    if (type == 0) {
      if (isSource || isTarget || (includeOwned && id == connection.owner)) {
        out.push_back(connection);
      }
      return;
    }
    if (isSource) {
      peer = rowOf(connection.target);
    } else if (isTarget) {
      peer = rowOf(connection.source);
    }
    if (peer != nullptr && peer->type == static_cast<std::uint32_t>(type)) {
      out.push_back(connection);
    }
  });
  return static_cast<unsigned>(out.size());
}

unsigned SessionBuffer::getConnectedClients(const ClientID& id, std::deque<ClientEntry>& out,
                                            int type) const {
  out.clear();
  const ShmPtr<SharedConnectionList> connections(cConnectionListName);
  if (connections.ptr == nullptr) {
    std::printf("\n!! getConnectedClients : lSessionConnections == 0 !! ");
    return 0;
  }
  forEachConnection(connections.pool(), *connections.ptr, [&](const Connection& connection) {
    if (connection.disconnectRequested != 0) return;
    const bool isSource = id == connection.source;
    if (!isSource && !(id == connection.target)) return;
    const ClientEntry* peer =
        getClientEntry(getClientIndex(isSource ? connection.target : connection.source));
    if (peer == nullptr) return;
    if (type == 0 || peer->type == static_cast<std::uint32_t>(type)) out.push_back(*peer);
  });
  return static_cast<unsigned>(out.size());
}

}  // namespace LIPC
