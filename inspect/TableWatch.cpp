// SPDX-License-Identifier: BSL-1.0
#include "inspect/TableWatch.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace inspect {
namespace {

using LIPC::ClientEntry;

Event describe(Event::eKind kind, int index, const ClientEntry& entry) {
  Event event;
  event.kind = kind;
  event.index = index;
  event.id = entry.id.text();
  event.name = std::string(entry.nameView());
  event.type = entry.type;
  event.inputChannels = entry.inputChannelCount;
  event.outputChannels = entry.outputChannelCount;
  return event;
}

constexpr int cLooksUntilReported = 3;

/// Bit for bit: a NaN that stays the same NaN is no change.
bool isSameFloat(float a, float b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

/// Whether `compare` would report nothing. Not by the bytes of the whole rows: a copy has neither
/// the padding nor the buffers of a text that are not current.
bool isSameRow(const ClientEntry& known, const ClientEntry& now) {
  const auto isSameText = [](const auto& a, const auto& b) { return a.current() == b.current(); };
  return known.id == now.id && known.nameView() == now.nameView() &&
         std::memcmp(known.offlineParameters, now.offlineParameters,
                     sizeof now.offlineParameters) == 0 &&
         std::equal(std::begin(known.strings), std::end(known.strings), std::begin(now.strings),
                    isSameText);
}

}  // namespace

TableWatch::TableWatch(const LIPC::SessionBuffer& session, EventSink sink)
    : mSession(&session), mSink(std::move(sink)) {
  for (int index = 0; index < LIPC::cMaxClients; ++index) {
    const ClientEntry& entry = mSession->entries[index];
    if (!entry.isFree()) mKnown.emplace(index, entry);
  }
}

void TableWatch::report(Event::eKind kind, int index, const ClientEntry& entry) {
  mSink(describe(kind, index, entry));
}

void TableWatch::noteJoined(const LIPC::ClientID& id) {
  const int index = mSession->getClientIndex(id);
  const ClientEntry* entry = mSession->getClientEntry(index);
  if (entry == nullptr) return;
  mNew.erase(index);
  mKnown.insert_or_assign(index, *entry);
  report(Event::eKind::eJoined, index, *entry);
}

void TableWatch::noteLeft(const LIPC::ClientID& id, Event::eKind how) {
  for (auto it = mKnown.begin(); it != mKnown.end();) {
    if (it->second.id == id) {
      report(how, it->first, it->second);
      it = mKnown.erase(it);
    } else {
      ++it;
    }
  }
}

bool TableWatch::hasNews() const {
  if (!mNew.empty()) return true;
  const int rows = std::min(rowsInUse() + 1, LIPC::cMaxClients);
  auto known = mKnown.begin();
  for (int index = 0; index < rows; ++index) {
    const ClientEntry& row = mSession->entries[index];
    const bool isKnown = known != mKnown.end() && known->first == index;
    if (isKnown ? !isSameRow(known->second, row) : !row.isFree()) return true;
    if (isKnown) ++known;
  }
  return false;
}

int TableWatch::rowsInUse() const {
  const int known = mKnown.empty() ? 0 : mKnown.rbegin()->first + 1;
  return mNew.empty() ? known : std::max(known, mNew.rbegin()->first + 1);
}

void TableWatch::look(const LIPC::SessionBuffer& session, int rows) {
  mSession = &session;
  for (int index = 0; index < rows; ++index) {
    const ClientEntry& row = mSession->entries[index];
    const auto known = mKnown.find(index);
    if (known != mKnown.end() && !(known->second.id == row.id)) {
      report(Event::eKind::eLeft, index, known->second);
      mKnown.erase(known);
    }
    if (row.isFree()) {
      mNew.erase(index);
      continue;
    }
    const ClientEntry now = row;
    if (const auto entry = mKnown.find(index); entry != mKnown.end()) {
      compare(index, entry->second, now);
    } else if (++mNew[index] >= cLooksUntilReported) {
      mNew.erase(index);
      mKnown.emplace(index, now);
      report(Event::eKind::eJoined, index, now);
    }
  }
}

void TableWatch::compare(int index, ClientEntry& known, const ClientEntry& now) {
  Event event = describe(Event::eKind::eRenamed, index, now);
  if (known.nameView() != now.nameView()) {
    event.textBefore = std::string(known.nameView());
    event.textAfter = event.name;
    mSink(event);
  }
  event.kind = Event::eKind::eParameterChanged;
  for (unsigned slot = 0; slot < LIPC::cOfflineParameterCount; ++slot) {
    event.slot = slot;
    event.before = known.offlineParameters[slot];
    event.after = now.offlineParameters[slot];
    if (!isSameFloat(event.before, event.after)) mSink(event);
  }
  event.kind = Event::eKind::eStringChanged;
  for (unsigned slot = 0; slot < LIPC::cStringSlotCount; ++slot) {
    event.slot = slot;
    event.textBefore = std::string(known.strings[slot].current());
    event.textAfter = std::string(now.strings[slot].current());
    if (event.textBefore != event.textAfter) mSink(event);
  }
  known = now;
}

}  // namespace inspect
