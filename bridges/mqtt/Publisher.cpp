// SPDX-License-Identifier: BSL-1.0
#include "bridges/mqtt/Publisher.h"

#include <cstring>

#include <nlohmann/json.hpp>

#include "bridges/mqtt/Payload.h"
#include "inspect/PoolReader.h"
#include "tools/Picture.h"
#include "tools/Reading.h"
#include "tools/Text.h"

namespace mqtt {
namespace {

using inspect::ClientPicture;
using inspect::Event;
using inspect::SessionPicture;
using Kind = Event::eKind;
using tools::ValuePlace;

constexpr std::chrono::milliseconds cHostInterval{1000};
/// After a change of a row the follower has more to tell for so long.
constexpr std::chrono::milliseconds cUnrest{1000};
constexpr int cPoolLooks = 2;

bool isSameValue(const ClientPicture& a, const ClientPicture& b, const ValuePlace& place) {
  if (place.isText) return a.strings[place.index] == b.strings[place.index];
  return std::memcmp(&a.parameters[place.index], &b.parameters[place.index], sizeof(float)) == 0;
}

bool isSameHead(const ClientPicture& a, const ClientPicture& b) {
  return a.name == b.name && a.type == b.type && a.mode == b.mode &&
         a.inputChannels == b.inputChannels && a.outputChannels == b.outputChannels &&
         a.life == b.life;
}

/// Calls `each` with all places of a row.
template <class Each>
void forAllPlaces(Each each) {
  for (unsigned i = 0; i < LIPC::cOfflineParameterCount; ++i)
    each(ValuePlace{false, i});
  for (unsigned slot = 0; slot < LIPC::cStringSlotCount; ++slot)
    each(ValuePlace{true, slot});
}

/// What stands under topics of its own, or was there before anybody looked, is no event.
bool isEvent(Kind kind) {
  switch (kind) {
    case Kind::ePresent:
    case Kind::eConnectionPresent:
    case Kind::eParameterChanged:
    case Kind::eStringChanged:
      return false;
    default:
      return true;
  }
}

}  // namespace

Publisher::Publisher(inspect::Source& source, const SiteTopics& topics, Outbox& outbox)
    : mSource(source), mTopics(topics), mOutbox(outbox) {}

void Publisher::look(Time now) {
  if (now < mNextRows) return;
  mNextRows = now + cLookInterval;
  mLook.look(mSource, now, [&](int index, const LIPC::ClientEntry* row) {
    mLastChange = now;
    row != nullptr ? takeRow(index, *row) : freeRow(index);
  });
  const auto pause = now - mLastChange < cUnrest ? cFollowInterval : cRestInterval;
  if (now - mLastFollow >= pause) follow(now);
}

Publisher::Client* Publisher::find(const std::string& id) {
  const auto row = mRowOf.find(id);
  return row != mRowOf.end() ? &mRows.at(row->second) : nullptr;
}

const ClientPicture* Publisher::client(const std::string& id) const {
  const auto row = mRowOf.find(id);
  return row != mRowOf.end() ? &mRows.at(row->second).picture : nullptr;
}

void Publisher::takeRow(int index, const LIPC::ClientEntry& row) {
  ClientPicture now = inspect::pictureOf(index, row);
  const auto known = mRows.find(index);
  if (known != mRows.end() && known->second.picture.id != now.id) freeRow(index);
  if (!LIPC::ClientID(now.id).isDefined()) return;  // freed just now
  const auto owner = mRowOf.try_emplace(now.id, index);
  const bool isNew = owner.second;
  if (owner.first->second != index) return;  // the first row of an ID counts
  Client& client = mRows[index];
  if (isNew) {
    now.life = inspect::eLife::eAlive;
    now.segments[0] = mSource.find(now.id);
  } else {
    now.life = client.picture.life;
    now.segments = client.picture.segments;
  }
  const ClientPicture before = std::exchange(client.picture, std::move(now));
  bool isRowDue = isNew || !isSameHead(before, client.picture);
  forAllPlaces([&](const ValuePlace& place) {
    if (!isNew && isSameValue(before, client.picture, place)) return;
    if (publishValue(client, place)) isRowDue = true;
  });
  if (isRowDue) publishRow(client);
  if (isNew) publishConnections(client.picture.id);
}

void Publisher::freeRow(int index) {
  const auto row = mRows.find(index);
  if (row == mRows.end()) return;
  const Client& client = row->second;
  const std::string& id = client.picture.id;
  mOutbox.remove(mTopics.client(id));
  mOutbox.remove(mTopics.connections(id));
  for (const ValuePlace& place : client.published)
    mOutbox.remove(mTopics.value(id, place));
  mRowOf.erase(id);
  mRows.erase(row);
}

/// True where the value has a topic from now on.
bool Publisher::publishValue(Client& client, const ValuePlace& place) {
  const tools::ClientValue value = tools::valueAt(client.picture, place);
  const bool isPublished = client.published.contains(place);
  if (!isPublished && value.isDefault && value.name.empty()) return false;
  mOutbox.set(mTopics.value(client.picture.id, place), valuePayload(value));
  client.published.insert(place);
  return !isPublished;
}

void Publisher::publishRow(const Client& client) {
  mOutbox.set(mTopics.client(client.picture.id), rowPayload(client.picture, client.published));
}

void Publisher::publishConnections(const std::string& id) {
  const auto list = mConnections.find(id);
  mOutbox.set(mTopics.connections(id), !mIsPoolRead                 ? "null"
                                       : list != mConnections.end() ? list->second
                                                                    : "[]");
}

void Publisher::found(const std::string& topic, std::string_view payload) {
  if (const auto ofClient = mTopics.takeApart(topic)) {
    Client* const client = find(ofClient->id);
    const auto place = placeOfTail(ofClient->tail);
    if (client != nullptr && place && client->published.insert(*place).second) {
      mOutbox.set(topic, valuePayload(tools::valueAt(client->picture, *place)));
      publishRow(*client);
    }
  }
  mOutbox.found(topic, payload);
}

void Publisher::publishHost(int watchHeartbeatMS) {
  SessionPicture session;
  try {
    session = readSession(mSource, {.watchHeartbeatMS = watchHeartbeatMS,
                                    .withConnections = false,
                                    .withSegments = false,
                                    .rows = 0});
  } catch (const std::exception&) {
    return mOutbox.set(mTopics.host(), hostPayload("unreadable", {}));
  }
  const char* state = mIsStalled ? "stalled" : "alive";
  if (session.state == SessionPicture::eRead && watchHeartbeatMS > 0) {
    mIsStalled = !session.isBeating;
    state = mIsStalled ? "stalled" : "alive";
  }
  if (session.state == SessionPicture::eNone) state = "none";
  if (session.state > SessionPicture::eNone && session.state < SessionPicture::eRead)
    state = "unreadable";
  mOutbox.set(mTopics.host(), hostPayload(state, session));
}

void Publisher::follow(Time now) {
  mLastFollow = now;
  int watchHeartbeatMS = 0;
  for (const Event& event : mFollower.look(mSource, now)) {
    takeEvent(event);
    if (event.kind == Kind::eSessionThere) watchHeartbeatMS = tools::cWatchHeartbeatMS;
    if (event.kind >= Kind::eSessionThere && event.kind <= Kind::eHostChanged) mNextHost = now;
    mLastChange = now;
  }
  if (now >= mNextHost) {
    publishHost(watchHeartbeatMS);
    mNextHost = now + cHostInterval;
  }
  if (mAreConnectionsDue) readConnections();
}

void Publisher::takeEvent(const Event& event) {
  switch (event.kind) {
    case Kind::eLost:
    case Kind::eStampBack:
      if (Client* const client = find(event.id)) {
        const bool isLost = event.kind == Kind::eLost;
        client->picture.life = isLost ? inspect::eLife::eStale : inspect::eLife::eAlive;
        publishRow(*client);
      }
      break;
    case Kind::eConnectionPresent:
    case Kind::eConnected:
    case Kind::eDisconnected:
    case Kind::eWiresChanged:
    case Kind::ePoolReadable:
    case Kind::ePoolUnreadable:
    case Kind::eSessionThere:
    case Kind::eSessionGone:
      mAreConnectionsDue = true;
      break;
    default:
      break;
  }
  if (event.kind == Kind::eHeartbeatLost) mIsStalled = true;
  if (event.kind == Kind::eHeartbeatBack || event.kind == Kind::eHostChanged) mIsStalled = false;
  if (!isEvent(event.kind)) return;
  nlohmann::ordered_json json = {{"time", tools::isoTimeText(std::chrono::system_clock::now())}};
  json.update(tools::eventJson(event));
  mEvents.push_back(tools::dump(json, -1));
  if (mEvents.size() > cMostEvents) mEvents.pop_front();
}

void Publisher::readConnections() {
  mAreConnectionsDue = false;
  mIsPoolRead = false;
  mConnections.clear();
  if (mFollower.state() == SessionPicture::eRead) {
    const inspect::PoolPicture pool = inspect::readPool(mSource, cPoolLooks);
    mIsPoolRead = pool.connections.has_value();
    if (pool.connections) mConnections = connectionPayloads(*pool.connections);
  }
  for (const auto& [id, index] : mRowOf)
    publishConnections(id);
}

}  // namespace mqtt
