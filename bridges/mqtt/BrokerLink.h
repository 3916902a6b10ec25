// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>

#include "bridges/mqtt/Outbox.h"

struct mosquitto;
struct mosquitto_message;

namespace mqtt {

struct BrokerOptions {
  std::string host = "localhost";
  int port = 0;      // 0: the usual one
  int protocol = 4;  // as MQTT numbers its versions: 4 is 3.1.1
  std::string clientID;
  std::string user;
  std::optional<std::string> password;
  bool isTLS = false;
  std::string authorities;  // file; empty: the system's
  std::string certificate;  // file; empty: none
  std::string key;          // file
  int keepAliveSeconds = 20;
  Outbox::Message will;

  int portOrUsual() const { return port != 0 ? port : isTLS ? 8883 : 1883; }
};

/// A connection to a broker, made again whenever it is lost: after half a second at first, twice as
/// long each time, half a minute at most, and each time by chance as much as half of that sooner,
/// so that a house does not come back all at once. Each connection is a new one to the broker and
/// to the library: what was under way in the last one is forgotten.
///
/// Threads: one. The library runs on the caller's. Looking up the broker's name may block.
class BrokerLink {
 public:
  using Time = std::chrono::steady_clock::time_point;

  /// Called from `run`, on its thread.
  struct Listener {
    virtual ~Listener() = default;
    virtual void onConnected() = 0;
    virtual void onLost() = 0;
    virtual void onMessage(const std::string& topic, std::string_view payload, bool isRetained) = 0;
    /// `refusal`: why the broker did not take it, where it says so; else empty.
    virtual void onConfirmed(int id, const std::string& refusal) = 0;
    /// A sentence for people, once for each reason and outage.
    virtual void onNews(const std::string& sentence) = 0;
  };

  BrokerLink(BrokerOptions options, Listener& listener);
  ~BrokerLink();
  BrokerLink(const BrokerLink&) = delete;
  BrokerLink& operator=(const BrokerLink&) = delete;

  /// Connects, sends and receives for at most so long; sooner where something came.
  void run(std::chrono::milliseconds most);
  bool isConnected() const { return mIsConnected; }
  /// The message's number, or none where it could not be sent. QoS 1 where it shall be confirmed.
  std::optional<int> publish(const Outbox::Message& message, bool isRetained, bool isConfirmed);
  void subscribe(const std::string& filter, int qos);
  void unsubscribe(const std::string& filter);
  /// Gives the connection up, for this reason, and makes another.
  void renew(const std::string& why);
  /// Ends the connection; in order: the broker sends no will.
  void close(bool isInOrder);

 private:
  struct Callbacks;
  using Handle = std::unique_ptr<mosquitto, void (*)(mosquitto*)>;

  void begin();
  void configure();
  void lose(const std::string& why);
  std::string errorText(int error) const;

  const BrokerOptions mOptions;
  Listener& mListener;
  Handle mHandle;
  bool mIsConnected = false;
  std::optional<std::string> mLost;  // by a callback: why
  std::exception_ptr mThrown;        // by the listener, in a callback
  std::string mLastError;            // that the library logged
  Time mBegun{};
  Time mNextAttempt{};
  std::chrono::milliseconds mPause;
  int mShortLives = 0;          // connections in a row that were lost at once
  std::set<std::string> mSaid;  // in this outage
  std::minstd_rand mChance;
};

}  // namespace mqtt
