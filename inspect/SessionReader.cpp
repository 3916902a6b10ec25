// SPDX-License-Identifier: BSL-1.0
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <exception>
#include <iterator>
#include <thread>

#include <boost/date_time/posix_time/posix_time.hpp>

#include "inspect/Picture.h"
#include "inspect/PoolReader.h"
#include "inspect/Rings.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/SegmentNames.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/util/SharedWord.h"

namespace inspect {
namespace {

constexpr int cLookMS = 20;
constexpr long cStaleSeconds = 4;

}  // namespace

std::optional<long> ageOfStamp(const std::string& stamp, std::int64_t now) {
  try {
    const auto time = boost::posix_time::from_iso_string(stamp);
    const auto since = time - boost::posix_time::from_time_t(0);
    if (since.is_special()) return std::nullopt;
    return static_cast<long>(now - since.total_seconds());
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

namespace {

std::string nameOf(const LIPC::Semaphore& record) {
  return record.isWellFormed() ? record.posixName : std::string();
}

/// Nothing where the name leads to something else: two names may have one key.
std::optional<BufferPicture> bufferOf(const std::string& id, Source& source) {
  const Mapping mapping = source.attach(id);
  const auto* buffer = mapping.as<LIPC::ClientBuffer>();
  if (buffer == nullptr) return std::nullopt;
  BufferPicture picture;
  picture.id = LIPC::ClientID(buffer->id).text();
  if (picture.id != id) return std::nullopt;
  picture.type = buffer->type;
  picture.mode = buffer->mode;
  picture.stamp = std::string(buffer->stampText());
  picture.ageSeconds = ageOfStamp(picture.stamp, source.time());
  picture.blocksWaiting = buffer->newDataQueue.size();
  picture.mustDisconnectSemaphore = nameOf(buffer->mustDisconnectSemaphore);
  picture.keepAliveSemaphore = nameOf(buffer->keepAliveMutex);
  return picture;
}

eLife lifeOf(const std::optional<BufferPicture>& buffer) {
  if (!buffer || !buffer->ageSeconds) return eLife::eUnknown;
  return *buffer->ageSeconds < cStaleSeconds ? eLife::eAlive : eLife::eStale;
}

void addSegments(ClientPicture& client, Source& source, const ReadOptions& options) {
  const auto names = LIPC::segmentNamesOf(LIPC::ClientID(client.id));
  for (std::size_t i = 0; options.withSegments && i < names.size(); ++i)
    client.segments[i] = source.find(names[i], options.withUsers);
  client.buffer = bufferOf(client.id, source);
  client.life = lifeOf(client.buffer);
  if (!options.withRings && !options.withLevels) return;
  client.send = ringOf(source.attach(names[1]), true, options.withLevels);
  client.answer = ringOf(source.attach(names[2]), false, options.withLevels);
}

void watchHeartbeat(const LIPC::SessionBuffer& table, int watchMS, SessionPicture& picture) {
  const std::uint64_t first = LIPC::loadAcquire(table.heartbeat);
  picture.heartbeat = first;
  for (int waited = 0; waited < watchMS && picture.heartbeat <= first; waited += cLookMS) {
    std::this_thread::sleep_for(std::chrono::milliseconds(cLookMS));
    picture.heartbeat = LIPC::loadAcquire(table.heartbeat);
  }
  picture.isBeating = picture.heartbeat > first;
}

void readNames(const LIPC::SessionBuffer& table, SessionPicture& picture) {
  picture.referenceClient = LIPC::ClientID(table.referenceClientID).text();
  picture.registrationSemaphore = nameOf(table.registrationSemaphore);
  picture.registrationEndedSemaphore = nameOf(table.registrationEndedSemaphore);
  picture.newAudioDataSemaphore = nameOf(table.newAudioDataSemaphore);
  picture.registrationLock = nameOf(table.clientsCanRegisterMutex);
  picture.lastRequest = table.readRequest(picture.isLastRequestJoin).text();
}

void readVersion(Source& source, SessionPicture& picture) {
  const Mapping mapping = source.attach(LIPC::cVersionSegment);
  if (const auto* version = mapping.as<LIPC::VersionRecord>(); version != nullptr) {
    picture.protocolVersion = version->protocolVersion;
    picture.pointerWidthBits = version->pointerWidthBits;
  }
}

bool isForeign(const SessionPicture& picture) {
  return (picture.protocolVersion != 0 && picture.protocolVersion != LIPC::cProtocolVersion) ||
         (picture.pointerWidthBits != 0 && picture.pointerWidthBits != LIPC::cPointerWidthBits);
}

bool isOverwritten(const LIPC::SessionBuffer& table) {
  const LIPC::ClientID first = table.entries[0].id;
  if (!first.isDefined()) return false;
  return std::all_of(std::begin(table.entries), std::end(table.entries),
                     [&](const LIPC::ClientEntry& row) { return row.id.equals(first); });
}

SessionPicture::eState stateOf(const SessionPicture& picture, const LIPC::SessionBuffer* table) {
  if (isForeign(picture)) return SessionPicture::eForeign;
  if (table == nullptr) return SessionPicture::eTooSmall;
  return isOverwritten(*table) ? SessionPicture::eOverwritten : SessionPicture::eRead;
}

void readConnections(Source& source, SessionPicture& picture) {
  PoolPicture pool = readPool(source);
  picture.poolError = std::move(pool.error);
  picture.isPoolDamaged = pool.isDamaged;
  picture.connections = std::move(pool.connections);
}

}  // namespace

ClientPicture pictureOf(int index, const LIPC::ClientEntry& entry) {
  ClientPicture picture;
  picture.index = index;
  picture.id = LIPC::ClientID(entry.id).text();
  picture.name = std::string(entry.nameView());
  picture.type = entry.type;
  picture.mode = entry.mode;
  picture.inputChannels = entry.inputChannelCount;
  picture.outputChannels = entry.outputChannelCount;
  for (unsigned i = 0; i < LIPC::cOfflineParameterCount; ++i)
    picture.parameters[i] = LIPC::loadRelaxed(entry.offlineParameters[i]);
  for (unsigned slot = 0; slot < LIPC::cStringSlotCount; ++slot)
    picture.strings[slot] = std::string(entry.strings[slot].current());
  return picture;
}

const ClientPicture* SessionPicture::find(const std::string& id) const {
  for (const ClientPicture& client : clients)
    if (LIPC::ClientID(client.id) == LIPC::ClientID(id)) return &client;
  return nullptr;
}

SessionPicture::eState readState(Source& source, const Mapping& table) {
  if (!table) {
    const auto segment = source.find(LIPC::cSessionSegment);
    if (!segment) return SessionPicture::eNone;
    if (segment->error != 0) return SessionPicture::eNoPermission;
    return source.isLive() ? SessionPicture::eNone : SessionPicture::eTooSmall;  // just made
  }
  SessionPicture picture;
  readVersion(source, picture);
  return stateOf(picture, table.as<LIPC::SessionBuffer>());
}

SessionPicture readSession(Source& source, const ReadOptions& options) {
  SessionPicture picture;
  picture.time = source.time();
  picture.table = source.find(LIPC::cSessionSegment, options.withUsers);
  if (!picture.table) return picture;
  readVersion(source, picture);
  const Mapping mapping = source.attach(LIPC::cSessionSegment);
  const auto* table = mapping.as<LIPC::SessionBuffer>();
  if (!mapping) {
    picture.state = picture.table->error != 0 || source.isLive() ? SessionPicture::eNoPermission
                                                                 : SessionPicture::eTooSmall;
    return picture;
  }
  picture.state = stateOf(picture, table);
  if (picture.state != SessionPicture::eRead) return picture;
  picture.forbidsJoins = source.find(LIPC::cNoConnectSegment).has_value();
  readNames(*table, picture);
  if (source.isLive()) {
    watchHeartbeat(*table, options.watchHeartbeatMS, picture);
  } else {
    picture.heartbeat = table->heartbeat;
    picture.isBeating = source.watch({}, {}).isBeating();
  }
  for (int index = 0; index < std::min(options.rows, LIPC::cMaxClients); ++index) {
    const LIPC::ClientEntry& entry = table->entries[index];
    if (entry.isFree()) continue;
    picture.clients.push_back(pictureOf(index, entry));
    addSegments(picture.clients.back(), source, options);
  }
  if (options.withConnections) readConnections(source, picture);
  if (options.withSettings) picture.settings = source.settings();
  return picture;
}

}  // namespace inspect
