// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "bridges/mqtt/BrokerLink.h"
#include "bridges/mqtt/Mirror.h"
#include "bridges/mqtt/Options.h"
#include "bridges/mqtt/Outbox.h"
#include "bridges/mqtt/Publisher.h"
#include "bridges/mqtt/SetGate.h"
#include "tools/Output.h"

namespace mqtt {

/// The program: what is true of the session goes out, what was asked for comes in.
///
/// After each connection it first reads what the broker has under this site's topics: what is still
/// true is not sent again, and what is not goes. Its own message to itself, which comes behind all
/// of that, says that it has been read; where none comes, everything is sent. The host's topic is
/// sent last: a site that is "alive" is known whole.
///
///   connecting --connected--> reading --echo, or cReadingTime--> open
///
/// Threads: one, beside those of the mirrors, which only say something.
class Bridge final : private BrokerLink::Listener {
 public:
  /// Throws tools::Failure where an option cannot be used.
  explicit Bridge(const Options& options);
  ~Bridge() override;

  /// Until a stop is requested, or nobody reads the output any more.
  void run();

 private:
  using Time = std::chrono::steady_clock::time_point;
  enum eState { eAway, eReading, eOpen };

  struct Counters {
    std::uint64_t sent = 0;       // messages
    std::uint64_t sentBytes = 0;  // of topics and payloads
    std::uint64_t refused = 0;    // of those, by the broker
    std::uint64_t taken = 0;      // values set, and messages about mirrored clients
    std::uint64_t dropped = 0;    // messages of others
    std::uint64_t connections = 0;
  };

  void onConnected() override;
  void onLost() override;
  void onMessage(const std::string& topic, std::string_view payload, bool isRetained) override;
  void onConfirmed(int id, const std::string& refusal) override;
  void onNews(const std::string& sentence) override;

  void open(Time now);
  void step(Time now);
  void sendWhatIsDue(Time now);
  bool send(const Outbox::Message& message, bool isRetained, bool isConfirmed, int& id);
  void takeForMirrors(const std::string& topic, std::string_view payload);
  void takeSet(const std::string& topic, std::string_view payload, bool isRetained);
  void drop(const std::string& topic, const std::string& why);
  void sayWhatWaits(Time now);
  void say(const std::string& line);
  void printCounters(Time now);
  void end();

  const Options mOptions;
  const SiteTopics mTopics;
  const SetGate mGate;
  const std::string mEchoText;
  std::unique_ptr<inspect::Source> mSource;
  Outbox mOutbox;
  Publisher mPublisher;
  std::vector<std::unique_ptr<Mirror>> mMirrors;
  std::unique_ptr<tools::Output> mOutput;
  BrokerLink mLink;

  eState mState = eAway;
  Time mReadingSince{};
  Time mLastFound{};
  bool mIsListeningToOwn = false;
  bool mIsEchoMissed = false;  // and that was said
  Counters mCounters;
  Time mNextCounters{};
  Time mNextDropWord{};
  std::uint64_t mDropsUnsaid = 0;
  bool mIsRefusalSaid = false;
  std::set<int> mEventsUnderWay;

  std::mutex mSayMutex;
  std::vector<std::string> mToSay;  // by the mirrors' threads
};

}  // namespace mqtt
