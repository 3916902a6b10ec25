// SPDX-License-Identifier: BSL-1.0
#include "inspect/SessionFollower.h"

#include <algorithm>
#include <set>
#include <utility>

#include "inspect/PoolReader.h"
#include "lipc/session/ClientBuffer.h"
#include "lipc/session/SessionBuffer.h"
#include "lipc/util/SharedWord.h"

namespace inspect {
namespace {

using Kind = Event::eKind;
using LIPC::ClientEntry;
using LIPC::ClientID;
using LIPC::SessionBuffer;

constexpr std::chrono::milliseconds cStampInterval{500};
constexpr std::chrono::milliseconds cWholeTableInterval{1000};
constexpr int cRowsBehind = 8;
constexpr std::chrono::milliseconds cConnectionInterval{1000};
/// After a look that failed: one at a damaged pool can take four seconds.
constexpr std::chrono::milliseconds cUnreadableInterval{5000};
constexpr int cPoolLooks = 2;
/// A row that goes while its stamp has stood still for so long was taken from its client. A living
/// one stamps at least every second; a host waits four.
constexpr std::chrono::milliseconds cStillAtTheEnd{3000};
/// From then on a look at who has the buffer attached is worth it.
constexpr std::chrono::milliseconds cSuspicious{1500};

Event eventOf(Kind kind) {
  Event event;
  event.kind = kind;
  return event;
}

Event eventOf(Kind kind, int index, const ClientEntry& row) {
  Event event = eventOf(kind);
  event.index = index;
  event.id = ClientID(row.id).text();
  event.name = std::string(row.nameView());
  event.type = row.type;
  event.inputChannels = row.inputChannelCount;
  event.outputChannels = row.outputChannelCount;
  return event;
}

std::string whyGone(SessionPicture::eState state) {
  switch (state) {
    case SessionPicture::eNoPermission:
      return "another user's, which this one may not read, has its name";
    case SessionPicture::eTooSmall:
      return "a segment that is too small for one has its name";
    case SessionPicture::eForeign:
      return "one of another protocol version or pointer width has its name";
    case SessionPicture::eOverwritten:
      return "its table was written over";
    case SessionPicture::eNone:
    case SessionPicture::eRead:
      break;
  }
  return {};
}

}  // namespace

std::vector<Event> SessionFollower::look(Source& source, SteadyTime now) {
  mNow = now;
  const Mapping mapping = source.attach(LIPC::cSessionSegment);
  mState = readState(source, mapping);
  if (mState != SessionPicture::eRead) {
    if (mTable) depart();
    return std::exchange(mEvents, {});
  }
  const auto& table = *mapping.as<SessionBuffer>();
  if (!mTable) arrive(table, source);
  lookAtHeartbeat(LIPC::loadAcquire(table.heartbeat));
  if (now >= mNextStamps) lookAtStamps(table, source);
  mTable->look(table, rowsToLookAt());
  // Who is just joining is told before its connections.
  const auto patience =
      mTable->hasNewRows() ? cConnectionInterval : decltype(cConnectionInterval){};
  if (now >= mNextConnections + patience) lookAtConnections(table, source);
  return std::exchange(mEvents, {});
}

/// Mostly the rows in use and some behind them: who joins takes the first free one. Reading all of
/// the table maps a page for each row.
int SessionFollower::rowsToLookAt() {
  if (mNow >= mNextWholeTable) {
    mNextWholeTable = mNow + cWholeTableInterval;
    return LIPC::cMaxClients;
  }
  return std::min(mTable->rowsInUse() + cRowsBehind, LIPC::cMaxClients);
}

void SessionFollower::arrive(const SessionBuffer& table, Source& source) {
  Event there = eventOf(Kind::eSessionThere);
  there.heartbeat = mHeartbeat = LIPC::loadAcquire(table.heartbeat);
  mEvents.push_back(there);
  // A snapshot has been watched when it was made.
  mIsHeartbeatLost = !source.isLive() && !source.watch({}, {}).isBeating();
  mHeartbeatUnchanged.emplace(mNow);
  if (mIsHeartbeatLost) {
    there.kind = Kind::eHeartbeatLost;
    mEvents.push_back(there);
  }
  mTable.emplace(table, [this](const Event& event) { takeRowEvent(event); });
  for (const auto& [index, row] : mTable->rows())
    mEvents.push_back(eventOf(Kind::ePresent, index, row));
  mNextStamps = mNextConnections = mNextWholeTable = mNow;
}

void SessionFollower::depart() {
  mTable.reset();
  mClients = {};
  mStamps.clear();
  mConnections = {};
  mPoolError.clear();
  mPoolSum.reset();
  Event gone = eventOf(Kind::eSessionGone);
  gone.textAfter = whyGone(mState);
  mEvents.push_back(std::move(gone));
}

void SessionFollower::lookAtHeartbeat(std::uint64_t heartbeat) {
  Event event;
  mIsHostNew = heartbeat < mHeartbeat;
  event.heartbeatBefore = mHeartbeat;
  event.heartbeat = heartbeat;
  if (heartbeat == mHeartbeat) {
    if (mHeartbeatUnchanged->look(mNow) < cHeartbeatLostAfter || mIsHeartbeatLost) return;
    mIsHeartbeatLost = true;
    event.kind = Kind::eHeartbeatLost;
    mEvents.push_back(std::move(event));
    return;
  }
  if (mIsHostNew || mIsHeartbeatLost) {
    event.kind = mIsHostNew ? Kind::eHostChanged : Kind::eHeartbeatBack;
    mEvents.push_back(std::move(event));
  }
  mIsHeartbeatLost = false;
  mHeartbeat = heartbeat;
  mHeartbeatUnchanged.emplace(mNow);
}

/// What the table says of a row; one that goes may be its client's or taken from it.
void SessionFollower::takeRowEvent(Event event) {
  if (event.kind == Kind::eJoined) mNextConnections = mNow;
  if (event.kind == Kind::eLeft) {
    mNextConnections = mNow;
    const auto found = mStamps.find(ClientID(event.id));
    if (mIsHostNew) {
      event.textAfter = "it has no row with the new host yet";
      mStamps.erase(ClientID(event.id));
    } else if (found != mStamps.end()) {
      const Stamp& stamp = found->second;
      if (stamp.isLost) {
        event.textAfter = "its row was freed";
      } else if (stamp.isDeserted || mNow - stamp.since >= cStillAtTheEnd) {
        event.kind = Kind::eLost;
      }
      mStamps.erase(found);
    }
  }
  mEvents.push_back(std::move(event));
}

void SessionFollower::lookAtStamps(const SessionBuffer& table, Source& source) {
  mNextStamps = mNow + cStampInterval;
  std::set<ClientID> present;
  for (int index = 0; index < mTable->rowsInUse(); ++index) {
    const ClientEntry& row = table.entries[index];
    const ClientID id = row.id;
    if (id.isDefined() && present.insert(id).second) lookAtStamp(index, id, row, source);
  }
  mClients.keepOnly(present);
  // Those whose going is still to be told are kept until then.
  for (const auto& [index, row] : mTable->rows())
    present.insert(row.id);
  std::erase_if(mStamps, [&](const auto& stamp) { return present.count(stamp.first) == 0; });
}

void SessionFollower::lookAtStamp(int index, const ClientID& id, const ClientEntry& row,
                                  Source& source) {
  std::optional<std::string> text;
  {
    const Mapping mapping = source.attach(id.text());
    const auto* buffer = mapping.as<LIPC::ClientBuffer>();
    if (buffer != nullptr) text = std::string(buffer->stampText());
  }
  bool isLost = mClients.isLost(id, text, mNow);
  const auto [entry, isNew] = mStamps.try_emplace(id, Stamp{text, mNow});
  Stamp& stamp = entry->second;
  if (!text && stamp.isLost) isLost = true;  // its buffer went: that brings nobody back
  // Who stood still before the first look: a clock that was set is made good by the next stamp.
  const auto age = isNew && text ? ageOfStamp(*text, source.time()) : std::nullopt;
  if (age && *age > 0) stamp.since -= std::chrono::seconds(*age);
  if (stamp.text != text) stamp = {std::move(text), mNow, stamp.isLost};
  const bool isSuspicious = stamp.text && mNow - stamp.since >= cSuspicious;
  const auto segment = isSuspicious ? source.find(id.text()) : std::nullopt;
  stamp.isDeserted = segment && segment->error == 0 && !segment->isAttached();
  if (isLost == stamp.isLost) return;
  stamp.isLost = isLost;
  Event event = eventOf(isLost ? Kind::eLost : Kind::eStampBack, index, row);
  if (isLost)
    event.textAfter = stamp.text ? "its stamp has stood still for 4 seconds"
                                 : "it has had no client buffer for 2 seconds";
  mEvents.push_back(std::move(event));
}

void SessionFollower::lookAtConnections(const SessionBuffer& table, Source& source) {
  // The sum before the list: what changes between the two is seen at the next look.
  const auto sum = source.poolSum();
  const bool isSame = sum && sum == mPoolSum;
  mPoolSum = sum;
  mNextConnections = mNow + cConnectionInterval;
  if (isSame && mPoolError.empty()) return;
  const bool hadNewRows = mTable->hasNewRows();
  const PoolPicture pool = readPool(source, cPoolLooks);
  // Somebody came meanwhile, whose connections these may be.
  mTable->look(table, rowsToLookAt());
  if (!hadNewRows && mTable->hasNewRows()) {
    mNextConnections = mNow;
    mPoolSum.reset();
    return;
  }
  mNextConnections = mNow + (pool.connections ? cConnectionInterval : cUnreadableInterval);
  if (pool.error != mPoolError && pool.error.empty() != mPoolError.empty()) {
    Event event = eventOf(pool.error.empty() ? Kind::ePoolReadable : Kind::ePoolUnreadable);
    event.textAfter = pool.error;
    mEvents.push_back(std::move(event));
  }
  mPoolError = pool.error;
  if (pool.connections)
    mConnections.look(*pool.connections, [this](const Event& event) { mEvents.push_back(event); });
}

}  // namespace inspect
