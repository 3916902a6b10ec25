#include "host/SessionReader.h"

#include <chrono>
#include <exception>
#include <thread>

#include <boost/date_time/posix_time/posix_time.hpp>

#include "lipc/session/ClientBuffer.h"
#include "lipc/session/ConnectionPool.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/session/ShmManaged.h"
#include "lipc/session/shmKey.h"
#include "lipc/util/SharedWord.h"

namespace host {
namespace {

using LIPC::ShmReadOnly;

constexpr int cLookMS = 20;

std::optional<long> stampAge(const std::string& id) {
  const ShmReadOnly<LIPC::ClientBuffer> buffer(id.c_str());
  if (buffer.get() == nullptr) return std::nullopt;
  try {
    const auto stamp = boost::posix_time::from_iso_string(std::string(buffer->stampText()));
    const auto age = LIPC::ClientBuffer::currentTime() - stamp;
    if (age.is_special()) return std::nullopt;
    return age.total_seconds();
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

ClientPicture pictureOf(int index, const LIPC::ClientEntry& entry) {
  ClientPicture picture;
  picture.index = index;
  picture.id = entry.id.text();
  picture.name = std::string(entry.nameView());
  picture.type = entry.type;
  picture.mode = entry.mode;
  picture.inputChannels = entry.inputChannelCount;
  picture.outputChannels = entry.outputChannelCount;
  for (unsigned i = 0; i < LIPC::cOfflineParameterCount; ++i) {
    picture.parameters[i] = LIPC::loadRelaxed(entry.offlineParameters[i]);
  }
  for (unsigned slot = 0; slot < LIPC::cStringSlotCount; ++slot) {
    picture.strings[slot] = std::string(entry.strings[slot].current());
  }
  picture.stampAgeSeconds = stampAge(picture.id);
  return picture;
}

std::optional<std::vector<LIPC::Connection>> readConnections() {
  try {
    return LIPC::ConnectionPool::readSessionList();
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace

std::optional<SessionPicture> readSession(int watchMS) {
  const ShmReadOnly<LIPC::SessionBuffer> session(LIPC::cSessionSegment);
  if (session.get() == nullptr) return std::nullopt;

  SessionPicture picture;
  if (const ShmReadOnly<LIPC::VersionRecord> version(LIPC::cVersionSegment);
      version.get() != nullptr) {
    picture.protocolVersion = version->protocolVersion;
    picture.pointerWidthBits = version->pointerWidthBits;
  }
  picture.forbidsJoins = ShmReadOnly<char>(LIPC::cNoConnectSegment).get() != nullptr;
  picture.referenceClient = session->referenceClientID.text();

  const std::uint64_t first = LIPC::loadAcquire(session->heartbeat);
  picture.heartbeat = first;
  for (int waited = 0; waited < watchMS && picture.heartbeat <= first; waited += cLookMS) {
    std::this_thread::sleep_for(std::chrono::milliseconds(cLookMS));
    picture.heartbeat = LIPC::loadAcquire(session->heartbeat);
  }
  picture.isBeating = picture.heartbeat > first;

  for (int index = 0; index < LIPC::cMaxClients; ++index) {
    const LIPC::ClientEntry& entry = session->entries[index];
    if (!entry.isFree()) picture.clients.push_back(pictureOf(index, entry));
  }
  picture.connections = readConnections();
  return picture;
}

}  // namespace host
