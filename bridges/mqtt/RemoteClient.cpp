// SPDX-License-Identifier: BSL-1.0
#include "bridges/mqtt/RemoteClient.h"

#include <algorithm>
#include <utility>

#include "lipc/session/ClientEntry.h"

namespace mqtt {
namespace {

constexpr std::string_view cStaleMark = " (stale)";
constexpr std::string_view cAlive = "alive";

}  // namespace

RemoteClient::RemoteClient(const std::string& site, std::string id)
    : mSite(site), mID(std::move(id)), mTopics(site) {}

std::vector<std::string> RemoteClient::filters() const {
  const std::string client = mTopics.client(mID);
  return {mTopics.host(), client, client + "/parameters/+", client + "/strings/+"};
}

bool RemoteClient::take(const std::string& topic, std::string_view payload) {
  if (topic == mTopics.host()) {
    mSiteState = payload.empty() ? "" : hostStateOf(payload);
  } else {
    const auto ofClient = mTopics.takeApart(topic);
    if (!ofClient || ofClient->id != mID) return false;
    takeTail(ofClient->tail, payload);
  }
  putTogether();
  return true;
}

void RemoteClient::takeTail(const std::string& tail, std::string_view payload) {
  if (tail.empty()) {
    // What cannot be read changes nothing.
    mRow = payload.empty() ? std::nullopt : std::optional(readRow(payload));
    return;
  }
  const auto place = placeOfTail(tail);
  if (!place) return;
  if (payload.empty()) {
    mNumbers.erase(*place);
    mTexts.erase(*place);
  } else if (place->isText) {
    mTexts[*place] = readText(payload);
  } else {
    mNumbers[*place] = readNumber(payload);
  }
}

void RemoteClient::forgetWhoIsThere() {
  mSiteState.clear();
  mRow.reset();
  mNumbers.clear();
  mTexts.clear();
  putTogether();
}

std::string RemoteClient::nameOf(const std::string& name) const {
  const std::string_view mark = mSiteState == cAlive && mRow && mRow->isAlive ? "" : cStaleMark;
  const std::string behind = " @" + mSite.substr(0, 24) + std::string(mark);
  std::size_t kept = std::min(name.size(), LIPC::ClientEntry::cNameBytes - 1 - behind.size());
  // Not in the middle of a character.
  while (kept > 0 && kept < name.size() && (static_cast<unsigned char>(name[kept]) & 0xC0) == 0x80)
    --kept;
  return name.substr(0, kept) + behind;
}

bool RemoteClient::isWhole() const {
  const auto isThere = [&](const tools::ValuePlace& place) {
    return place.isText ? mTexts.contains(place) : mNumbers.contains(place);
  };
  return mRow && std::all_of(mRow->published.begin(), mRow->published.end(), isThere);
}

std::string RemoteClient::condition() const {
  const std::string what = mWhole ? "is stale" : "waits";
  if (mSiteState.empty())
    return what +
           ": the broker tells nothing of its site. Does a lipc mqtt run there, and may this "
           "one read it?";
  if (mSiteState == "gone") return what + ": its site is gone";
  if (mSiteState != cAlive) return what + ": its site has no session whose host is alive";
  if (!mRow) return what + ": no client of its site has that ID";
  if (!isWhole()) return what + ": not all of its values are on the broker";
  return mRow->isAlive ? "is in step" : "is stale: the client does not refresh its stamp";
}

void RemoteClient::putTogether() {
  if (!isWhole() || mSiteState != cAlive) {
    if (mWhole) mWhole->name = nameOf(mLastName);
    return;
  }
  MirroredRow row;
  row.type = mRow->type;
  mLastName = mRow->name;
  row.name = nameOf(mLastName);
  for (unsigned i = 0; i < LIPC::cOfflineParameterCount; ++i) {
    const auto known =
        mRow->published.contains({false, i}) ? mNumbers.find({false, i}) : mNumbers.end();
    row.parameters[i] = known != mNumbers.end() ? known->second : tools::defaultNumber(row.type, i);
  }
  for (unsigned slot = 0; slot < LIPC::cStringSlotCount; ++slot) {
    const auto known =
        mRow->published.contains({true, slot}) ? mTexts.find({true, slot}) : mTexts.end();
    row.strings[slot] = known != mTexts.end() ? known->second : tools::defaultText(row.type, slot);
  }
  mWhole = std::move(row);
}

}  // namespace mqtt
