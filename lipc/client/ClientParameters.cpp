// SPDX-License-Identifier: BSL-1.0

// Offline parameters, strings, and the queries of the session table.
#include <algorithm>
#include <cstring>

#include <boost/interprocess/exceptions.hpp>

#include "lipc/client/Client.h"
#include "lipc/util/Log.h"
#include "lipc/util/SharedWord.h"

namespace LIPC {
namespace {

/// Parameters below this and from the second on are pulled from the row; those between are not.
constexpr unsigned cPulledBelow = 8;
constexpr unsigned cPulledFrom = 32;

bool isParameter(int index) {
  return static_cast<unsigned>(index) < cOfflineParameterCount;
}

bool isStringSlot(int slot) {
  return static_cast<unsigned>(slot) < cStringSlotCount;
}

void warnNoEntry(const char* operation) {
  Lct::Log(Lct::eLogWarn, operation, "\n!!! %s : client Entry ZERO !!! \n", operation);
}

int lengthOf(const char* text) {
  return static_cast<int>(std::strlen(text));
}

}  // namespace

ClientEntry* Client::ownRow(SessionBuffer& session) const {
  return session.getClientEntry(ClientID(configGetClientID()).id);
}

void Client::setOfflineParameter(int index, float value) {
  if (!isParameter(index)) return;
  const std::lock_guard lock(mMutex);
  if (mConnected) {
    SessionBuffer* session = sessionOrWarn("setOfflineParameter");
    if (session == nullptr) return;
    ClientEntry* row = ownRow(*session);
    if (row == nullptr) {
      Lct::Log(Lct::eLogWarn, "setOfflineParameter",
               "\n!!! setOfflineParameter : CAN'T get shared mem client lEntry -> ZERO !!! \n");
      return;
    }
    storeRelaxed(row->offlineParameters[index], value);
  }
  storeRelaxed(mOfflineParameters[index], value);
}

float Client::getOfflineParameter(int index) const {
  return isParameter(index) ? loadRelaxed(mOfflineParameters[index]) : 0.0F;
}

float Client::getOfflineParameter(const std::string& id, int index) const {
  const std::lock_guard lock(mMutex);
  if (!mConnected || !isParameter(index)) return 0.0F;
  const SessionBuffer* session = sessionOrWarn("getOfflineParameter");
  if (session == nullptr) return 0.0F;
  const ClientEntry* row = session->getClientEntry(id.c_str());
  return row != nullptr ? loadRelaxed(row->offlineParameters[index]) : 0.0F;
}

std::deque<std::pair<unsigned, float>> Client::syncOfflineParameters() {
  const unsigned count = std::min(getOfflineParameterCount(), cOfflineParameterCount);
  const std::lock_guard lock(mMutex);
  std::deque<std::pair<unsigned, float>> changes;
  if (!mConnected) return changes;
  SessionBuffer* session = sessionOrWarn("syncOfflineParameters");
  if (session == nullptr) return changes;
  const ClientEntry* row = ownRow(*session);
  if (row == nullptr) {
    warnNoEntry("syncOfflineParameters");
    return changes;
  }

  const auto pull = [&](unsigned index) {
    const float shared = loadRelaxed(row->offlineParameters[index]);
    if (shared == mOfflineParameters[index]) return;
    storeRelaxed(mOfflineParameters[index], shared);
    changes.emplace_back(index, shared);
  };
  for (unsigned index = 0; index < cPulledBelow; ++index)
    pull(index);
  for (unsigned index = cPulledFrom; index < count; ++index)
    pull(index);
  for (unsigned slot = 0; slot < cStringSlotCount; ++slot) {
    const std::string_view text = row->strings[slot].current();
    if (text != mStrings[slot]) mStrings[slot] = text;
  }
  return changes;
}

void Client::setString(int slot, const char* text) {
  if (!isStringSlot(slot)) return;
  const char* value = text != nullptr ? text : "";
  const std::lock_guard lock(mMutex);
  mStrings[static_cast<unsigned>(slot)] = value;
  if (!mConnected) return;
  SessionBuffer* session = sessionOrWarn("setString");
  if (session == nullptr) return;
  ClientEntry* row = ownRow(*session);
  if (row == nullptr) return warnNoEntry("setString");
  row->strings[slot].put(value, lengthOf(value));
}

void Client::setOtherClientString(const std::string& id, int slot, const char* text) {
  if (!isStringSlot(slot)) return;
  const char* value = text != nullptr ? text : "";
  const std::lock_guard lock(mMutex);
  if (!mConnected) return;
  SessionBuffer* session = sessionOrWarn("setOtherClientString");
  if (session == nullptr) return;
  ClientEntry* row = session->getClientEntry(id.c_str());
  if (row == nullptr) return warnNoEntry("setOtherClientString");
  row->strings[slot].put(value, lengthOf(value));
}

std::string Client::getString(int slot) const {
  const std::lock_guard lock(mMutex);
  if (!mConnected || !isStringSlot(slot)) return {};
  SessionBuffer* session = sessionOrWarn("getString");
  if (session == nullptr) return {};
  const ClientEntry* row = ownRow(*session);
  if (row == nullptr) {
    warnNoEntry("getString");
    return {};
  }
  return std::string(row->strings[slot].current());
}

std::string Client::getString(const std::string& id, int slot) const {
  const std::lock_guard lock(mMutex);
  if (!mConnected || !isStringSlot(slot)) return {};
  const SessionBuffer* session = sessionOrWarn("getString");
  if (session == nullptr) return {};
  const ClientEntry* row = session->getClientEntry(id.c_str());
  return row != nullptr ? std::string(row->strings[slot].current()) : std::string();
}

void Client::scanClientEntries(ClientEntry::Predicate& predicate) const {
  const std::lock_guard lock(mMutex);
  if (!mConnected) return;
  const SessionBuffer* session = sessionOrWarn("scanClientEntries");
  if (session != nullptr) session->scanClientEntries(predicate);
}

void Client::scanClientEntryAt(int index, ClientEntry::Predicate& predicate) const {
  const std::lock_guard lock(mMutex);
  if (!mConnected) return;
  const SessionBuffer* session = sessionOrWarn("scanClientEntryAt");
  if (session != nullptr) session->scanClientEntryAt(index, predicate);
}

std::deque<ClientEntry> Client::getClientEntries(int type) const {
  const std::lock_guard lock(mMutex);
  std::deque<ClientEntry> entries;
  if (!mConnected) return entries;
  const SessionBuffer* session = sessionOrWarn("getClientEntries");
  if (session != nullptr) session->getClientEntries(type, entries);
  return entries;
}

bool Client::getClientEntryCopy(const char* id, ClientEntry& out) const {
  const std::lock_guard lock(mMutex);
  if (!mConnected) return false;
  const SessionBuffer* session = sessionOrWarn("getClientEntryCopy");
  if (session == nullptr) return false;
  const ClientEntry* row = session->getClientEntry(id != nullptr ? id : "");
  if (row != nullptr) out = *row;
  return row != nullptr;
}

bool Client::getClientEntryCopy(int index, ClientEntry& out) const {
  const std::lock_guard lock(mMutex);
  if (!mConnected) return false;
  const SessionBuffer* session = sessionOrWarn("getClientEntryCopy");
  if (session == nullptr) return false;
  const ClientEntry* row = session->getClientEntry(index);
  if (row != nullptr) out = *row;
  return row != nullptr;
}

std::deque<ClientEntry> Client::getConnectedClients(int type, ClientID id) const {
  id.terminator = '\0';
  const std::lock_guard lock(mMutex);
  std::deque<ClientEntry> entries;
  if (!mConnected) return entries;
  const SessionBuffer* session = sessionOrWarn("getConnectedClients");
  if (session == nullptr) return entries;
  try {
    session->getConnectedClients(id, entries, type);
  } catch (const boost::interprocess::interprocess_exception& error) {
    Lct::Log(Lct::eLogWarn, "getConnectedClients", "the connection pool cannot be read: %s",
             error.what());
    entries.clear();
  }
  return entries;
}

int Client::getClientIndex(const ClientID& id) const {
  const std::lock_guard lock(mMutex);
  if (!mConnected) return -1;
  const SessionBuffer* session = sessionOrWarn("getClientIndex");
  return session != nullptr ? session->getClientIndex(id) : -1;
}

}  // namespace LIPC
