// SPDX-License-Identifier: BSL-1.0
#include "tools/top/TopModel.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "inspect/Rings.h"
#include "lipc/session/SessionNames.h"

namespace tools {
namespace {

using inspect::ClientPicture;
using inspect::RingPicture;
using inspect::SessionPicture;

constexpr double cLongestBlockMS = 20.0;
constexpr int cLookedForAge = 4;  // a client looks four blocks behind for its answer

double secondsBetween(TopTime from, TopTime to) {
  return std::chrono::duration<double>(to - from).count();
}

float dBOf(float peak) {
  return peak > 0 ? 20.0F * std::log10(peak) : cNoLevelDB;
}

bool isAnyReady(const RingPicture& ring) {
  return std::any_of(ring.slices.begin(), ring.slices.end(),
                     [](const auto& slice) { return slice.isReady; });
}

/// The levels of a ring's whole block; silence where there is none, and where no more blocks come.
std::vector<float> levelsOf(const std::optional<RingPicture>& ring, const BlockRate& rate,
                            TopTime now) {
  if (!ring) return {};
  std::vector<float> levels(ring->peaks.size(), cNoLevelDB);
  if (rate.isStill(now) || !isAnyReady(*ring)) return levels;
  std::transform(ring->peaks.begin(), ring->peaks.end(), levels.begin(), dBOf);
  return levels;
}

void hold(std::vector<PeakHold>& peaks, const std::optional<RingPicture>& ring,
          const BlockRate& rate, TopTime now) {
  const std::vector<float> levels = levelsOf(ring, rate, now);
  peaks.resize(levels.size());
  for (std::size_t i = 0; i < levels.size(); ++i)
    peaks[i].add(levels[i], now);
}

std::vector<TopMeter> metersOf(const std::vector<PeakHold>& peaks,
                               const std::optional<RingPicture>& ring, const BlockRate& rate,
                               TopTime now) {
  const std::vector<float> levels = levelsOf(ring, rate, now);
  std::vector<TopMeter> meters(peaks.size());
  for (std::size_t i = 0; i < peaks.size(); ++i)
    meters[i] = {i < levels.size() ? levels[i] : cNoLevelDB, peaks[i].dB(now)};
  return meters;
}

/// Whether the client's blocks are announced to the host, which answers no others.
bool isAnnouncing(const ClientPicture& client) {
  return (client.mode & (LIPC::eClientModeOutputs | LIPC::eClientModeNoAudio)) != 0;
}

TopRow::eLife lifeOf(inspect::eLife life) {
  switch (life) {
    case inspect::eLife::eAlive:
      return TopRow::eAlive;
    case inspect::eLife::eStale:
      return TopRow::eStale;
    case inspect::eLife::eUnknown:
      break;
  }
  return TopRow::eUnknown;
}

}  // namespace

void PeakHold::add(float dB, TopTime now) {
  if (dB < this->dB(now)) return;
  mDB = dB;
  mSince = now;
}

float PeakHold::dB(TopTime now) const {
  const auto falling = now - mSince - cHold;
  if (falling <= TopTime::duration::zero()) return mDB;
  const float fallen = mDB - cFallDBPerSecond * std::chrono::duration<float>(falling).count();
  return fallen < cBottomDB ? cNoLevelDB : fallen;
}

std::optional<unsigned> TopRow::blocksWaiting() const {
  if (life == eGone || !client.buffer) return std::nullopt;
  return client.buffer->blocksWaiting;
}

float TopRow::heldDB(bool ofReturns) const {
  float highest = cNoLevelDB;
  for (const TopMeter& meter : meters(ofReturns))
    highest = std::max(highest, meter.heldDB);
  return highest;
}

void BlockRate::add(const RingPicture& ring, TopTime now) {
  // The newest slice may be just being stamped.
  const inspect::SlicePicture& slice = ring.behind(1);
  const std::int64_t stamp = slice.timeStamp;
  // Foreign numbers: their difference may be none.
  const double advance = static_cast<double>(stamp) - static_cast<double>(mStamp);
  const bool isFirst = mLooks.empty() || mStamp == 0;  // before the first block there is no stamp
  if (isFirst || stamp != mStamp) mMoved = now;
  mStamp = stamp;
  if (isFirst || advance < 0) {  // the client's time went back, or it joined anew
    mLooks = {{now, 0.0}};
    return;
  }
  const double blocks = slice.sampleCount > 0 ? advance / slice.sampleCount : 0.0;
  mLooks.push_back({now, mLooks.back().blocks + blocks});
  while (mLooks.size() > 2 && now - mLooks.front().time > cWindow)
    mLooks.pop_front();
}

std::optional<double> BlockRate::perSecond() const {
  if (mLooks.size() < 2) return std::nullopt;
  const double seconds = secondsBetween(mLooks.front().time, mLooks.back().time);
  if (seconds <= 0) return std::nullopt;
  return (mLooks.back().blocks - mLooks.front().blocks) / seconds;
}

void AnswerWatch::add(const RingPicture& ring) {
  addAgain(ring);
  std::map<std::int64_t, bool> slices;
  for (int age = cLookedForAge; age < LIPC::SHMSlices::cSliceCount; ++age) {
    const inspect::SlicePicture& slice = ring.behind(age);
    if (slice.sampleCount == 0) continue;
    const auto known = mSlices.find(slice.timeStamp);
    const bool isMissing = known != mSlices.end() ? known->second : isMissed(ring, age);
    slices[slice.timeStamp] = isMissing;
    if (known != mSlices.end()) continue;
    ++mCounts.seen;
    if (isMissing) ++mCounts.missing;
  }
  mSlices = std::move(slices);
}

void AnswerWatch::addAgain(const RingPicture& ring) {
  for (const inspect::SlicePicture& slice : ring.slices) {
    const auto known = mSlices.find(slice.timeStamp);
    if (known == mSlices.end() || !known->second || !slice.isReady) continue;
    known->second = false;
    ++mCounts.late;
  }
}

bool AnswerWatch::isAnyMissing() const {
  return std::any_of(mSlices.begin(), mSlices.end(), [](const auto& each) { return each.second; });
}

void TopModel::add(SessionPicture session, TopTime now) {
  mNow = now;
  if (!session.connections && session.poolError.empty()) {
    session.connections = std::move(mSession.connections);
    session.poolError = std::move(mSession.poolError);
  }
  std::vector<ClientPicture> clients;
  clients.swap(session.clients);
  mSession = std::move(session);
  addHeartbeat(now);
  for (ClientPicture& client : clients)
    addClient(std::move(client), now);
  forgetGone(now);
}

/// Also those that came back in another row.
void TopModel::forgetGone(TopTime now) {
  std::set<std::string> present;
  for (const auto& [key, client] : mClients)
    if (client.seen == now) present.insert(key.second);
  std::erase_if(mClients, [&](const auto& each) {
    const auto& [key, client] = each;
    return client.seen != now && (now - client.seen > cGoneFor || present.contains(key.second));
  });
}

void TopModel::addHeartbeat(TopTime now) {
  if (!mHasBeat || mSession.heartbeat != mHeartbeat) mBeat = now;
  mHasBeat = mSession.state == SessionPicture::eRead;
  mHeartbeat = mSession.heartbeat;
}

bool TopModel::isHostStalled() const {
  if (mIsBeatWatched) return mHasBeat && !mSession.isBeating;
  return mHasBeat && mNow - mBeat > cStalledAfter;
}

void TopModel::addClient(ClientPicture&& picture, TopTime now) {
  Client& client = mClients[{picture.index, picture.id}];
  client.picture = std::move(picture);
  client.seen = now;
  if (client.picture.send) client.sends.add(*client.picture.send, now);
  if (client.picture.answer) {
    client.answers.add(*client.picture.answer, now);
    client.answerWatch.add(*client.picture.answer);
  }
  hold(client.sendPeaks, client.picture.send, client.sends, now);
  hold(client.answerPeaks, client.picture.answer, client.answers, now);
}

std::vector<TopModel::RingToReadAgain> TopModel::ringsToReadAgain() const {
  std::vector<RingToReadAgain> rings;
  for (const auto& [key, client] : mClients) {
    const bool isThere = client.seen == mNow && !client.answers.isStill(mNow);
    const double rate = client.answers.perSecond().value_or(0.0);
    if (isThere && isAnnouncing(client.picture) && client.answerWatch.isAnyMissing() && rate > 0) {
      const double milliseconds = std::clamp(1000.0 / rate, 1.0, cLongestBlockMS);
      rings.push_back({key.second, std::chrono::milliseconds(std::lround(milliseconds))});
    }
  }
  return rings;
}

void TopModel::addAnswerAgain(const std::string& id, const RingPicture& ring) {
  for (auto& [key, client] : mClients)
    if (key.second == id && client.seen == mNow) client.answerWatch.addAgain(ring);
}

TopRow TopModel::rowOf(const Client& client) const {
  TopRow row;
  row.client = client.picture;
  const bool isGone = client.seen != mNow;
  row.life = isGone ? TopRow::eGone : lifeOf(client.picture.life);
  if (client.picture.send && !isGone) row.blocksPerSecond = client.sends.perSecond();
  if (isAnnouncing(client.picture) && client.picture.answer)
    row.answers = client.answerWatch.counts();
  row.send = metersOf(client.sendPeaks, client.picture.send, client.sends, mNow);
  row.answer = metersOf(client.answerPeaks, client.picture.answer, client.answers, mNow);
  return row;
}

std::vector<TopRow> TopModel::rows() const {
  std::vector<TopRow> rows;
  for (const auto& [key, client] : mClients)
    rows.push_back(rowOf(client));
  return rows;
}

}  // namespace tools
