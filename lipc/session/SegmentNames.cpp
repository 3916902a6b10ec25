// SPDX-License-Identifier: BSL-1.0
#include "lipc/session/SegmentNames.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "lipc/realtime/SHMSlices.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/ShmManaged.h"
#include "lipc/session/shmKey.h"
#include "lipc/util/Log.h"
#include "lipc/util/SystemError.h"

namespace LIPC {
namespace {

/// Every new key file is a new try at one of some 65,000 keys.
constexpr int cNewKeys = 8;

bool hasKey(const std::string& name, key_t key) {
  return existingShmKey(name.c_str()) == key;
}

/// Of any name that ever was one of a segment's, in use or not.
std::string keyFileOnSameKey(const std::string& name, key_t key) {
  const std::vector<std::string> names = namesWithKeyFiles();
  const auto found = std::find_if(names.begin(), names.end(), [&](const std::string& other) {
    return other != name && hasKey(other, key);
  });
  return found != names.end() ? *found : std::string();
}

/// Whether an attached segment under a name of `id` can only have been made by a client of that ID.
bool wasMadeBy(const ClientID& id, const std::string& name, const SegmentState& segment) {
  if (!hasSizeOfName(name, segment.bytes)) return false;
  if (name != id.text()) return true;
  const ShmReadOnly<ClientBuffer> buffer(name.c_str());
  return buffer.get() != nullptr && buffer->id == id;
}

/// To whom the segment under `name` belongs, if not to who joins now; what was this ID's and is
/// attached is removed.
std::string ownerOf(const std::string& name, const ClientID& id, const SessionBuffer& session) {
  key_t key = existingShmKey(name.c_str());
  if (key == -1) key = shmKey(name.c_str());
  for (const std::string& own : segmentNamesOf(id)) {
    if (own == name) break;
    if (hasKey(own, key)) return own;
  }
  const auto segment = ShmManaged::find(key);
  if (!segment) return {};
  if (std::string other = nameOnSameKey(name, id, session); !other.empty()) return other;
  if (!segment->isAttached()) return {};
  if (std::string other = keyFileOnSameKey(name, key); !other.empty()) return other;
  if (wasMadeBy(id, name, *segment) && ShmManaged::removeIfPresent(name.c_str())) return {};
  return "another program or user";
}

std::string claimName(const std::string& name, const ClientID& id, const SessionBuffer& session) {
  std::string owner;
  for (int attempt = 0; attempt < cNewKeys; ++attempt) {
    owner = ownerOf(name, id, session);
    if (owner.empty()) return {};
    if (!renewKeyFile(name.c_str())) {
      return "the segment \"" + name + "\" has the key of \"" + owner + "\", and the key file " +
             keyFilePath(name.c_str()) + " cannot be made anew: " + systemErrorText(errno);
    }
    Lct::Log(Lct::eLogWarn, "claimSegmentNames",
             "the segment \"%s\" had the key of \"%s\": its key file was made anew", name.c_str(),
             owner.c_str());
  }
  return "the segment \"" + name + "\" has the key of \"" + owner + "\" with every key file";
}

}  // namespace

std::array<std::string, 3> segmentNamesOf(const ClientID& id) {
  const std::string name = id.text();
  return {name, name + cSendSuffix, name + cReturnSuffix};
}

std::string clientIDOf(const std::string& segmentName) {
  for (const std::string_view suffix : {cSendSuffix, cReturnSuffix})
    if (segmentName.ends_with(suffix))
      return segmentName.substr(0, segmentName.size() - suffix.size());
  return segmentName;
}

bool hasSizeOfName(const std::string& name, std::size_t bytes) {
  if (!name.ends_with(cSendSuffix) && !name.ends_with(cReturnSuffix)) {
    return bytes == sizeof(ClientBuffer);
  }
  constexpr std::size_t perChannel = SHMSlices::cSliceCount * sizeof(SHMChannel);
  return bytes >= sizeof(SHMSlices) && (bytes - sizeof(SHMSlices)) % perChannel == 0;
}

std::string nameOnSameKey(const std::string& name, const ClientID& id,
                          const SessionBuffer& session) {
  const key_t key = existingShmKey(name.c_str());
  if (key == -1) return {};
  for (const char* other : cSessionWideSegments) {
    if (hasKey(other, key)) return other;
  }
  for (const ClientEntry& entry : session.entries) {
    const ClientID other = entry.id;
    if (!other.isDefined() || other == id) continue;
    for (const std::string& theirs : segmentNamesOf(other)) {
      if (hasKey(theirs, key)) return theirs;
    }
  }
  return {};
}

std::string claimSegmentNames(const ClientID& id, const SessionBuffer& session) {
  for (const std::string& name : segmentNamesOf(id)) {
    if (std::string obstacle = claimName(name, id, session); !obstacle.empty()) return obstacle;
  }
  return {};
}

}  // namespace LIPC
