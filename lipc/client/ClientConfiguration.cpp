// SPDX-License-Identifier: BSL-1.0

// The client's configuration. The edit lock is only held for a copy or a flip, never across another
// lock, so that an application's edit does not wait for a join in progress.
#include <algorithm>
#include <cstring>

#include "lipc/client/Client.h"
#include "lipc/util/Log.h"

namespace LIPC {
namespace {

/// `base` and " (n)", together no longer than a row's name: the base gives way, by whole characters
/// of UTF-8.
std::string numbered(const std::string& base, long long n) {
  const std::string suffix = " (" + std::to_string(n) + ")";
  std::size_t length = std::min(base.size(), ClientEntry::cNameBytes - suffix.size());
  const auto isInsideCharacter = [&] {
    return length > 0 && length < base.size() && (base[length] & 0xC0) == 0x80;
  };
  while (isInsideCharacter())
    --length;
  return base.substr(0, length) + suffix;
}

}  // namespace

bool Client::isUsableID(const ClientID& id) {
  return id.isDefined() && !isSessionWideName(id.view());
}

void Client::configBeginEdit() {
  const std::lock_guard edit(mEditMutex);
  mConfig.beginEdit();
}

void Client::configEndEdit() {
  const std::lock_guard lock(mMutex);
  bool changed = false;
  {
    const std::lock_guard edit(mEditMutex);
    changed = mConfig.endEdit();
  }
  if (changed) wakeToLeave();
}

void Client::configSetClientID(const char* id) {
  const std::string requested = id != nullptr ? id : "";
  const ClientID newID(requested);
  if (!isUsableID(newID)) {
    Lct::Log(Lct::eLogWarn, "configSetClientID",
             "\"%s\" is no ID for a client: it does not join a session under it",
             requested.c_str());
  }
  const std::lock_guard edit(mEditMutex);
  const std::string& active = mConfig.active().clientID;
  const ClientID activeID(active);
  if (activeID.isDefined() && std::strncmp(requested.c_str(), active.c_str(), active.size()) == 0) {
    return;
  }
  const ClientID editedID(mConfig.setID(requested));  // another one after a second call
  for (Connection& connection : mConnections) {
    connection.replace(activeID, newID);
    if (!(editedID == activeID)) connection.replace(editedID, newID);
  }
}

void Client::configSetMode(eClientMode mode) {
  if (mode == mMode) return;
  const std::uint32_t stored = (mode & eClientModeExclusive) != 0 ? eClientModeExclusive : mode;
  mMode = stored;
  {
    const std::lock_guard lock(mMutex);
    if (mConnected) {
      SessionBuffer* session = sessionOrWarn("configSetMode");
      if (session == nullptr) return;
      const ClientID ownID(mConnectID);
      for (ClientEntry& entry : session->entries) {
        if (entry.id.equals(ownID)) entry.mode = stored;
      }
    }
  }
  const std::lock_guard edit(mEditMutex);
  mConfig.restrictToMode(stored);
}

bool Client::configSetIOChannelCount(int inputs, int outputs) {
  const std::lock_guard edit(mEditMutex);
  return mConfig.setChannelCounts(static_cast<std::uint16_t>(inputs),
                                  static_cast<std::uint16_t>(outputs), mMode);
}

void Client::configResetOutputRouting() {
  const std::lock_guard edit(mEditMutex);
  mConfig.resetOutputRouting();
}

std::string Client::configGetName() const {
  const std::lock_guard edit(mEditMutex);
  return mName;
}

eClientMode Client::configGetMode() const {
  return static_cast<eClientMode>(mMode.load());
}

std::string Client::configGetClientID() const {
  const std::lock_guard edit(mEditMutex);
  return mConfig.active().clientID;
}

std::string& Client::configGetEditClientID() {
  const std::lock_guard edit(mEditMutex);
  return mConfig.edit().clientID;
}

std::vector<std::int32_t>& Client::configGetOutputRouting() {
  const std::lock_guard edit(mEditMutex);
  return mConfig.active().outputRouting;
}

int Client::configSetName(const char* name) {
  const std::string requested = name != nullptr ? name : "";
  if (requested.empty()) return -2;
  if (requested.find_first_not_of(" \t") == std::string::npos) return -3;

  const std::lock_guard lock(mMutex);
  {
    const std::lock_guard edit(mEditMutex);
    mName = requested;
  }
  if (!mConnected) return 0;
  SessionBuffer* session = sessionOrWarn("configSetName");
  if (session == nullptr) return -4;

  takeUniqueName(*session);
  const std::string name64 = configGetName();
  const ClientID ownID(mConnectID);
  for (ClientEntry& entry : session->entries) {
    if (entry.id.equals(ownID)) entry.setName(name64);
  }
  return name64 != requested ? -1 : 0;
}

void Client::takeUniqueName(const SessionBuffer& session) {
  std::string name = configGetName();
  makeNameUnique(&session, name, 0);
  const std::lock_guard edit(mEditMutex);
  mName = std::move(name);
}

void Client::makeNameUnique(const SessionBuffer* session, std::string& name, int suffix) {
  // It ends: no two numbers give the same, and 1024 rows carry 1024 names at the most.
  for (long long n = suffix;; ++n) {
    const std::string candidate = n == 0 ? name : numbered(name, n);
    const std::string_view asCut = std::string_view(candidate).substr(0, ClientEntry::cNameBytes);
    const auto carriesIt = [&](const ClientEntry& entry) { return entry.nameView() == asCut; };
    if (std::none_of(std::begin(session->entries), std::end(session->entries), carriesIt)) {
      name = candidate;
      return;
    }
  }
}

SessionBuffer* Client::sessionOrWarn(const char* operation) const {
  SessionBuffer* session = mAttachment.session();
  if (session == nullptr) {
    Lct::Log(Lct::eLogWarn, operation, "\n!!! %s : CAN'T get shared mem Session !!! \n", operation);
  }
  return session;
}

}  // namespace LIPC
