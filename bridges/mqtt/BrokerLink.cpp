// SPDX-License-Identifier: BSL-1.0
#include "bridges/mqtt/BrokerLink.h"

#include <algorithm>
#include <cerrno>
#include <thread>

#include <fmt/core.h>
#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <poll.h>
#include <unistd.h>

#include "lipc/util/SystemError.h"
#include "tools/Failure.h"
#include "tools/Text.h"

namespace mqtt {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds cFirstPause{500};
constexpr milliseconds cLongestPause{30'000};
/// From the first packet to the broker's answer.
constexpr milliseconds cConnectTime{10'000};
/// Who is thrown out sooner, time after time, has a rival.
constexpr milliseconds cShortLife{3000};
constexpr int cManyShortLives = 3;

/// Of a connection that is being made. With TLS the library takes the refusal for a handshake that
/// has not begun.
bool hasFailed(int socket) {
  pollfd state{socket, POLLOUT, 0};
  return socket >= 0 && poll(&state, 1, 0) > 0 && (state.revents & (POLLERR | POLLHUP)) != 0;
}

/// The library's words for an error, as a part of a sentence.
std::string withoutStop(std::string text) {
  while (text.ends_with('.'))
    text.pop_back();
  return text;
}

void requireReadable(const std::string& path) {
  if (path.empty() || access(path.c_str(), R_OK) == 0) return;
  throw tools::Failure(tools::eExitFailure, "the file {} cannot be read: {}",
                       tools::printable(path), LIPC::systemErrorText(errno));
}

}  // namespace

/// What the library calls. Nothing is thrown through it.
struct BrokerLink::Callbacks {
  template <class Do>
  static void guarded(void* object, Do&& act) {
    auto& link = *static_cast<BrokerLink*>(object);
    try {
      act(link);
    } catch (...) {
      link.mThrown = std::current_exception();
    }
  }

  static void connected(mosquitto*, void* object, int code) {
    guarded(object, [code](BrokerLink& link) {
      if (code != 0) {
        link.mLost = withoutStop(link.mOptions.protocol == MQTT_PROTOCOL_V5
                                     ? mosquitto_reason_string(code)
                                     : mosquitto_connack_string(code));
        return;
      }
      link.mIsConnected = true;
      link.mBegun = steady_clock::now();
      link.mSaid.clear();
      link.mListener.onConnected();
    });
  }
  static void disconnected(mosquitto*, void* object, int code) {
    guarded(object, [code](BrokerLink& link) {
      if (link.mLost) return;
      const bool isReason =
          link.mOptions.protocol == MQTT_PROTOCOL_V5 && code >= MQTT_RC_UNSPECIFIED;
      link.mLost = isReason ? mosquitto_reason_string(code) : link.errorText(code);
    });
  }
  static void message(mosquitto*, void* object, const mosquitto_message* message) {
    guarded(object, [message](BrokerLink& link) {
      link.mListener.onMessage(message->topic,
                               {static_cast<const char*>(message->payload),
                                static_cast<std::size_t>(message->payloadlen)},
                               message->retain);
    });
  }
  static void published(mosquitto*, void* object, int id, int code, const mosquitto_property*) {
    guarded(object, [id, code](BrokerLink& link) {
      link.mListener.onConfirmed(id,
                                 code >= MQTT_RC_UNSPECIFIED ? mosquitto_reason_string(code) : "");
    });
  }
  static void logged(mosquitto*, void* object, int level, const char* text) {
    if (level == MOSQ_LOG_ERR) static_cast<BrokerLink*>(object)->mLastError = text;
  }
};

BrokerLink::BrokerLink(BrokerOptions options, Listener& listener)
    : mOptions(std::move(options)),
      mListener(listener),
      mHandle(nullptr, mosquitto_destroy),
      mPause(cFirstPause),
      mChance(std::random_device()()) {
  mosquitto_lib_init();
  // What is wrong with files is said at once, and not retried.
  mHandle.reset(mosquitto_new(mOptions.clientID.c_str(), true, this));
  configure();
  mHandle.reset();
}

BrokerLink::~BrokerLink() {
  mHandle.reset();
  mosquitto_lib_cleanup();
}

std::string BrokerLink::errorText(int error) const {
  if (error == MOSQ_ERR_ERRNO) return LIPC::systemErrorText(errno);
  if (error == MOSQ_ERR_KEEPALIVE) return "it gives no sign of life";
  if (error == MOSQ_ERR_EAI) return "its name cannot be looked up";
  // "OpenSSL Error[0]: error:0A000086:SSL routines::certificate verify failed"
  if (error == MOSQ_ERR_TLS && !mLastError.empty())
    return "TLS: " + tools::printable(mLastError.substr(mLastError.rfind("::") + 2));
  return withoutStop(mosquitto_strerror(error));
}

void BrokerLink::configure() {
  mosquitto* const handle = mHandle.get();
  if (handle == nullptr) throw std::bad_alloc();
  mosquitto_int_option(handle, MOSQ_OPT_PROTOCOL_VERSION, mOptions.protocol);
  mosquitto_int_option(handle, MOSQ_OPT_TCP_NODELAY, 1);
  mosquitto_int_option(handle, MOSQ_OPT_SEND_MAXIMUM, Outbox::cWindow);
  mosquitto_max_inflight_messages_set(handle, Outbox::cWindow);
  mosquitto_log_callback_set(handle, Callbacks::logged);
  mosquitto_connect_callback_set(handle, Callbacks::connected);
  mosquitto_disconnect_callback_set(handle, Callbacks::disconnected);
  mosquitto_message_callback_set(handle, Callbacks::message);
  mosquitto_publish_v5_callback_set(handle, Callbacks::published);
  const auto require = [this](int error, const char* what) {
    if (error != MOSQ_ERR_SUCCESS)
      throw tools::Failure(tools::eExitFailure, "{} cannot be used: {}", what, errorText(error));
  };
  if (!mOptions.user.empty()) {
    const char* password = mOptions.password ? mOptions.password->c_str() : nullptr;
    require(mosquitto_username_pw_set(handle, mOptions.user.c_str(), password), "the user");
  }
  if (mOptions.isTLS) {
    for (const std::string& path : {mOptions.authorities, mOptions.certificate, mOptions.key})
      requireReadable(path);
    const auto file = [](const std::string& path) { return path.empty() ? nullptr : path.c_str(); };
    const bool isOwn = !mOptions.authorities.empty();
    if (!isOwn) mosquitto_int_option(handle, MOSQ_OPT_TLS_USE_OS_CERTS, 1);
    // Nobody is there to be asked for the password of a key.
    const auto noPassword = [](char*, int, int, void*) { return 0; };
    if (isOwn || !mOptions.certificate.empty()) {
      // It takes no certificate without authorities: "/" has none, beside the system's.
      require(mosquitto_tls_set(handle, file(mOptions.authorities), isOwn ? nullptr : "/",
                                file(mOptions.certificate), file(mOptions.key), noPassword),
              "a certificate or a key");
    }
  }
  const Outbox::Message& will = mOptions.will;
  require(mosquitto_will_set(handle, will.topic.c_str(), static_cast<int>(will.payload.size()),
                             will.payload.data(), 1, true),
          "the will");
}

void BrokerLink::begin() {
  mLastError.clear();
  mLost.reset();
  mBegun = steady_clock::now();
  mHandle.reset(mosquitto_new(mOptions.clientID.c_str(), true, this));
  configure();
  const int error = mosquitto_connect_async(mHandle.get(), mOptions.host.c_str(),
                                            mOptions.portOrUsual(), mOptions.keepAliveSeconds);
  if (error != MOSQ_ERR_SUCCESS) lose(errorText(error));
}

void BrokerLink::run(milliseconds most) {
  const auto now = steady_clock::now();
  if (!mHandle) {
    if (now < mNextAttempt) {
      const auto left = std::chrono::ceil<milliseconds>(mNextAttempt - now);
      std::this_thread::sleep_for(std::min(most, left));
      return;
    }
    return begin();
  }
  if (!mIsConnected && hasFailed(mosquitto_socket(mHandle.get())))
    return lose("the connection was refused, or ended");
  const int error = mosquitto_loop(mHandle.get(), static_cast<int>(most.count()), 1);
  if (mThrown) std::rethrow_exception(std::exchange(mThrown, nullptr));
  if (mLost) return lose(std::string(*mLost));
  if (error != MOSQ_ERR_SUCCESS) return lose(errorText(error));
  if (!mIsConnected && now - mBegun > cConnectTime) lose("it does not answer");
}

void BrokerLink::lose(const std::string& why) {
  const auto now = steady_clock::now();
  const bool wasConnected = mIsConnected;
  const bool wasShort = wasConnected && now - mBegun < cShortLife;
  mShortLives = wasShort ? mShortLives + 1 : 0;
  mHandle.reset();
  mIsConnected = false;
  mLost.reset();
  if (wasConnected && !wasShort) mPause = cFirstPause;
  const auto half = mPause.count() / 2;
  mNextAttempt = now + milliseconds(half + std::uniform_int_distribution<long>(0, half)(mChance));
  mPause = std::min(mPause * 2, cLongestPause);
  if (mSaid.insert(why).second) {
    mListener.onNews(fmt::format("the broker {}:{} {}: {}. Trying again until it is there.",
                                 mOptions.host, mOptions.portOrUsual(),
                                 wasConnected ? "was lost" : "cannot be used", why));
  }
  if (mShortLives == cManyShortLives) {
    mListener.onNews(
        fmt::format("the broker ends each connection at once. Does another program "
                    "use the client ID {}, a second lipc mqtt of this site maybe?",
                    tools::printable(mOptions.clientID)));
  }
  if (wasConnected) mListener.onLost();
}

std::optional<int> BrokerLink::publish(const Outbox::Message& message, bool isRetained,
                                       bool isConfirmed) {
  int id = 0;
  if (!mIsConnected) return std::nullopt;
  const int error = mosquitto_publish(mHandle.get(), &id, message.topic.c_str(),
                                      static_cast<int>(message.payload.size()),
                                      message.payload.data(), isConfirmed ? 1 : 0, isRetained);
  if (error == MOSQ_ERR_SUCCESS) return id;
  // What the broker never takes is named; the rest comes with the end of the connection.
  const bool isForEver = error == MOSQ_ERR_OVERSIZE_PACKET || error == MOSQ_ERR_PAYLOAD_SIZE ||
                         error == MOSQ_ERR_INVAL || error == MOSQ_ERR_MALFORMED_UTF8;
  if (isForEver && mSaid.insert(message.topic).second)
    mListener.onNews(fmt::format("{} is not sent: {}", message.topic, mosquitto_strerror(error)));
  return std::nullopt;
}

void BrokerLink::subscribe(const std::string& filter, int qos) {
  mosquitto_subscribe(mHandle.get(), nullptr, filter.c_str(), qos);
}

void BrokerLink::unsubscribe(const std::string& filter) {
  if (mIsConnected) mosquitto_unsubscribe(mHandle.get(), nullptr, filter.c_str());
}

void BrokerLink::renew(const std::string& why) {
  if (mIsConnected) lose(why);
}

void BrokerLink::close(bool isInOrder) {
  if (!mHandle) return;
  if (isInOrder) {
    mosquitto_disconnect(mHandle.get());
    mosquitto_loop(mHandle.get(), 0, 1);
  }
  mHandle.reset();
  mIsConnected = false;
}

}  // namespace mqtt
