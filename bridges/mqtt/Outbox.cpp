// SPDX-License-Identifier: BSL-1.0
#include "bridges/mqtt/Outbox.h"

#include <algorithm>

namespace mqtt {

void Outbox::set(const std::string& name, std::string payload) {
  const auto topic = mTopics.try_emplace(name).first;
  if (topic->second.version != 0 && topic->second.payload == payload) return;
  topic->second.payload = std::move(payload);
  topic->second.version = ++mNumber;
  enqueue(topic);
}

void Outbox::remove(const std::string& name) {
  const auto topic = mTopics.find(name);
  if (topic == mTopics.end() || topic->second.payload.empty()) return;
  if (!topic->second.isMaybeThere) {
    dequeue(topic->second);
    mTopics.erase(topic);
    return;
  }
  topic->second.payload.clear();
  topic->second.version = ++mNumber;
  enqueue(topic);
}

bool Outbox::has(const std::string& name) const {
  const auto topic = mTopics.find(name);
  return topic != mTopics.end() && !topic->second.payload.empty();
}

void Outbox::beginConnection() {
  mIsHeld = true;
  mUnderWay.clear();
  mQueue.clear();
  for (auto& [name, topic] : mTopics) {
    topic.versionConfirmed = topic.versionSent = 0;
    topic.isUnderWay = false;
    topic.lastSent = {};
    topic.due.reset();
  }
}

void Outbox::found(const std::string& name, std::string_view payload) {
  const auto [topic, isNew] = mTopics.try_emplace(name);
  Topic& known = topic->second;
  known.isMaybeThere = true;
  if (isNew) {
    known.version = ++mNumber;
    enqueue(topic);
  } else if (!known.payload.empty() && known.payload == payload && known.versionSent == 0) {
    known.versionConfirmed = known.version;
    dequeue(known);
  }
}

void Outbox::release(const std::string& last) {
  mIsHeld = false;
  for (auto topic = mTopics.begin(); topic != mTopics.end(); ++topic)
    if (topic->first != last) enqueue(topic);
  if (const auto topic = mTopics.find(last); topic != mTopics.end()) {
    dequeue(topic->second);
    enqueue(topic);
  }
}

void Outbox::enqueue(Topics::iterator topic) {
  Topic& wanted = topic->second;
  // What is under way comes back here when it is confirmed.
  if (mIsHeld || wanted.due || wanted.isUnderWay || wanted.version == wanted.versionConfirmed)
    return;
  const Time paced = wanted.lastSent == Time{} ? Time{} : wanted.lastSent + cPace;
  wanted.due = Due{paced, ++mNumber};
  mQueue.emplace(*wanted.due, topic);
}

void Outbox::dequeue(Topic& topic) {
  if (topic.due) mQueue.erase(*topic.due);
  topic.due.reset();
}

std::optional<Outbox::Message> Outbox::next(Time now) const {
  if (mIsHeld || mQueue.empty() || mUnderWay.size() >= cWindow) return std::nullopt;
  const auto& [due, topic] = *mQueue.begin();
  if (due.first > now) return std::nullopt;
  return Message{topic->first, topic->second.payload};
}

std::optional<Outbox::Time> Outbox::nextDue() const {
  if (mIsHeld || mQueue.empty() || mUnderWay.size() >= cWindow) return std::nullopt;
  return mQueue.begin()->first.first;
}

void Outbox::sent(const std::string& name, int id, Time now) {
  const auto topic = mTopics.find(name);
  if (topic == mTopics.end()) return;
  dequeue(topic->second);
  topic->second.versionSent = topic->second.version;
  topic->second.isUnderWay = topic->second.isMaybeThere = true;
  topic->second.lastSent = now;
  mUnderWay.insert_or_assign(id, topic);
}

bool Outbox::isStuck(Time now) const {
  return std::any_of(mUnderWay.begin(), mUnderWay.end(), [now](const auto& underWay) {
    return now - underWay.second->second.lastSent > cPatience;
  });
}

void Outbox::confirmed(int id) {
  const auto found = mUnderWay.find(id);
  if (found == mUnderWay.end()) return;
  const Topics::iterator topic = found->second;
  mUnderWay.erase(found);
  topic->second.isUnderWay = false;
  topic->second.versionConfirmed = topic->second.versionSent;
  settle(topic);
}

/// A topic whose going is confirmed is forgotten.
void Outbox::settle(Topics::iterator topic) {
  const Topic& known = topic->second;
  if (known.version != known.versionConfirmed) return enqueue(topic);
  if (known.payload.empty()) mTopics.erase(topic);
}

}  // namespace mqtt
