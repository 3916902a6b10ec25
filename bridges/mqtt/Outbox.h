// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace mqtt {

/// What is true, topic by topic, beside what the broker has confirmed of it: what differs waits
/// here to be sent. A topic is sent 20 times a second at the most and has one message under way at
/// a time; whatever it went through meanwhile, what is true last is sent. After a new connection
/// nothing counts as confirmed.
///
/// Pure: the caller sends, and tells what became of it. Threads: one.
class Outbox {
 public:
  using Time = std::chrono::steady_clock::time_point;
  static constexpr std::chrono::milliseconds cPace{50};
  /// Messages under way. More wait here, so that a slow broker costs memory for the truth alone.
  static constexpr std::size_t cWindow = 100;

  struct Message {
    std::string topic;
    std::string payload;  // empty: the topic goes
  };

  /// From now on this is true of the topic. An empty payload is not: use `remove`.
  void set(const std::string& topic, std::string payload);
  /// Nothing is.
  void remove(const std::string& topic);
  bool has(const std::string& topic) const;

  /// A new connection: nothing is confirmed or under way, and nothing is sent before `release`.
  void beginConnection();
  /// What the broker has from earlier, by a former run of this program maybe. What is true and the
  /// same needs not be sent; what is not true any more is to go.
  void found(const std::string& topic, std::string_view payload);
  /// Everything that differs may be sent; `last` behind all the rest of now.
  void release(const std::string& last);

  /// The next message that may be sent now; the caller sends it and says `sent` at once.
  std::optional<Message> next(Time now) const;
  /// When `next` will have one, as far as the pace goes.
  std::optional<Time> nextDue() const;
  /// `id`: the broker's confirmation will have it.
  void sent(const std::string& topic, int id, Time now);
  void confirmed(int id);

  /// Whether all that is true is confirmed.
  bool isEmpty() const { return mQueue.empty() && mUnderWay.empty(); }
  /// What is not confirmed: to be sent, or under way.
  std::size_t waiting() const { return mQueue.size() + mUnderWay.size(); }
  /// Whether something has been under way for longer than `cPatience`.
  bool isStuck(Time now) const;
  static constexpr std::chrono::seconds cPatience{10};
  std::size_t topics() const { return mTopics.size(); }

 private:
  /// Its place in the queue: when it is due, then in the order in which it came.
  using Due = std::pair<Time, std::uint64_t>;

  struct Topic {
    std::string payload;  // that is true; empty: none is
    std::uint64_t version = 0;
    std::uint64_t versionSent = 0;
    std::uint64_t versionConfirmed = 0;  // 0: none
    bool isUnderWay = false;
    bool isMaybeThere = false;  // the broker has had it, and no going of it was confirmed
    Time lastSent{};
    std::optional<Due> due;  // in the queue
  };
  using Topics = std::map<std::string, Topic>;

  void enqueue(Topics::iterator topic);
  void dequeue(Topic& topic);
  void settle(Topics::iterator topic);

  Topics mTopics;
  std::map<Due, Topics::iterator> mQueue;
  std::unordered_map<int, Topics::iterator> mUnderWay;
  bool mIsHeld = true;
  std::uint64_t mNumber = 0;
};

}  // namespace mqtt
