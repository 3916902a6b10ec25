// SPDX-License-Identifier: BSL-1.0
#include "bridges/mqtt/Bridge.h"

#include <algorithm>
#include <utility>

#include <fmt/core.h>

#include "bridges/mqtt/Payload.h"
#include "lipc/util/Identifiers.h"
#include "tools/Failure.h"
#include "tools/StopRequest.h"
#include "tools/Text.h"

namespace mqtt {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// For the broker's answer about what it has.
constexpr milliseconds cReadingTime{3000};
/// Behind the last of it: brokers of many machines may send it out of order.
constexpr milliseconds cStragglers{1000};
/// While nobody is there to tell.
constexpr milliseconds cLookAway{200};
constexpr milliseconds cEndTime{2000};
constexpr milliseconds cDropWordInterval{1000};
constexpr std::size_t cEventsUnderWay = 100;

/// Where a password would go over the network as it is.
bool isFar(const std::string& host) {
  return host != "localhost" && host != "::1" && !host.starts_with("127.");
}

BrokerOptions withWill(BrokerOptions broker, const SiteTopics& topics) {
  broker.will = {topics.host(), hostPayload("gone", {})};
  return broker;
}

}  // namespace

Bridge::Bridge(const Options& options)
    : mOptions(options),
      mTopics(options.site),
      mGate(options.setPatterns, mTopics),
      mEchoText(LIPC::generateUUID()),
      mSource(inspect::openMachine()),
      mPublisher(*mSource, mTopics, mOutbox),
      mLink(withWill(options.broker, mTopics), *this) {
  for (const MirrorOptions& mirror : options.mirrors) {
    mMirrors.push_back(std::make_unique<Mirror>(mirror.site, mirror.id, mirror.localID,
                                                [this](const std::string& sentence) {
                                                  const std::lock_guard lock(mSayMutex);
                                                  mToSay.push_back(sentence);
                                                }));
  }
  if (options.broker.password && !options.broker.isTLS && isFar(options.broker.host))
    tools::complain("the password goes to {} for everybody on the way to read. Add --tls or --ca.",
                    options.broker.host);
}

Bridge::~Bridge() = default;

void Bridge::run() {
  tools::catchStopRequests();
  mOutput = std::make_unique<tools::Output>();
  mNextCounters = steady_clock::now() + std::chrono::seconds(mOptions.countersSeconds);
  while (!tools::isStopRequested() && !mOutput->isOver())
    step(steady_clock::now());
  end();
  if (!mOutput->failure().empty())
    throw tools::Failure(tools::eExitFailure, "{}", mOutput->failure());
}

void Bridge::step(Time now) {
  mPublisher.look(now);
  if (mOptions.withoutEvents) mPublisher.events().clear();
  if (mState == eReading && now - mReadingSince >= cReadingTime) {
    if (!std::exchange(mIsEchoMissed, true))
      tools::complain(
          "the broker does not let this program read under {}: what an earlier run left there "
          "stays, "
          "and everything is sent anew. Its access list should let {} read and write there.",
          mTopics.all(),
          mOptions.broker.user.empty() ? "everybody" : tools::printable(mOptions.broker.user));
    open(now);
  }
  if (mIsListeningToOwn && mState == eOpen && now - mLastFound >= cStragglers) {
    for (const std::string& filter : mTopics.own())
      mLink.unsubscribe(filter);
    mIsListeningToOwn = false;
  }
  sendWhatIsDue(now);
  sayWhatWaits(now);
  if (mOptions.countersSeconds > 0 && now >= mNextCounters) printCounters(now);
  const Time next = std::min(mPublisher.nextLook(), mOutbox.nextDue().value_or(Time::max()));
  const auto pause =
      std::max(std::chrono::ceil<milliseconds>(next - steady_clock::now()), milliseconds{});
  mLink.run(mLink.isConnected() ? pause : std::max(pause, cLookAway));
}

void Bridge::onConnected() {
  ++mCounters.connections;
  mOutbox.beginConnection();
  mEventsUnderWay.clear();
  mState = eReading;
  mReadingSince = mLastFound = steady_clock::now();
  mIsListeningToOwn = true;
  // Unconfirmed, so that no limit of the broker's on what waits for confirmation cuts it short.
  for (const std::string& filter : mTopics.own())
    mLink.subscribe(filter, 0);
  for (const std::string& filter : mGate.filters())
    mLink.subscribe(filter, 1);
  for (const auto& mirror : mMirrors)
    for (const std::string& filter : mirror->filters())
      mLink.subscribe(filter, 1);
  mLink.publish({mTopics.echo(), mEchoText}, false, false);
  say(fmt::format("broker   connected to {}:{} as site {}", mOptions.broker.host,
                  mOptions.broker.portOrUsual(), tools::printable(mOptions.site)));
}

void Bridge::onLost() {
  mState = eAway;
  for (const auto& mirror : mMirrors)
    mirror->forgetWhoIsThere();
}

void Bridge::open(Time now) {
  mState = eOpen;
  mLastFound = now;
  mOutbox.release(mTopics.host());
}

void Bridge::onMessage(const std::string& topic, std::string_view payload, bool isRetained) {
  const auto now = steady_clock::now();
  if (topic == mTopics.echo()) {
    if (mState == eReading && payload == mEchoText) open(now);
    return;
  }
  try {
    takeForMirrors(topic, payload);
    takeSet(topic, payload, isRetained);
  } catch (const BadMessage& bad) {
    drop(topic, bad.what());
  }
  std::string root = mTopics.all();
  root.pop_back();
  if (!isRetained || payload.empty() || !topic.starts_with(root)) return;
  mLastFound = now;
  mPublisher.found(topic, payload);
}

void Bridge::takeForMirrors(const std::string& topic, std::string_view payload) {
  for (const auto& mirror : mMirrors)
    if (mirror->take(topic, payload)) ++mCounters.taken;
}

void Bridge::takeSet(const std::string& topic, std::string_view payload, bool isRetained) {
  // Who takes back a message that the broker keeps sends an empty one, as this program does.
  if (payload.empty()) return;
  const auto target = mGate.target(topic);
  if (!target) return;
  // It would be set again after each connection, whatever came since.
  if (isRetained) throw BadMessage("what is to be set now must not be retained");
  if (mPublisher.client(target->id) == nullptr)
    throw BadMessage("no client of the session has that ID");
  writeValue(*target, payload);
  ++mCounters.taken;
}

/// Counted always, named once a second at the most: whoever sends nonsense does not fill a disk.
void Bridge::drop(const std::string& topic, const std::string& why) {
  ++mCounters.dropped;
  const auto now = steady_clock::now();
  if (now < mNextDropWord) {
    ++mDropsUnsaid;
    return;
  }
  mNextDropWord = now + cDropWordInterval;
  const std::uint64_t unsaid = std::exchange(mDropsUnsaid, 0);
  const std::string more = unsaid > 0 ? fmt::format(" ({} more before it)", unsaid) : std::string();
  tools::complain("dropped a message to {}: {}{}", tools::printable(topic), why, more);
}

void Bridge::onConfirmed(int id, const std::string& refusal) {
  if (!refusal.empty()) {
    ++mCounters.refused;
    if (!std::exchange(mIsRefusalSaid, true))
      tools::complain(
          "the broker does not take what this program sends: {}. Its access list should "
          "let it write under {}.",
          refusal, mTopics.all());
  }
  mEventsUnderWay.erase(id);
  mOutbox.confirmed(id);
}

void Bridge::onNews(const std::string& sentence) {
  tools::complain("{}", sentence);
}

bool Bridge::send(const Outbox::Message& message, bool isRetained, bool isConfirmed, int& id) {
  const auto sent = mLink.publish(message, isRetained, isConfirmed);
  if (!sent) return false;
  ++mCounters.sent;
  mCounters.sentBytes += message.topic.size() + message.payload.size();
  id = *sent;
  return true;
}

void Bridge::sendWhatIsDue(Time now) {
  if (mState != eOpen) return;
  constexpr int cNotSent = -1;
  while (const auto message = mOutbox.next(now)) {
    int id = cNotSent;
    send(*message, true, true, id);
    mOutbox.sent(message->topic, id, now);
    // What can never be sent is not tried again; after the end of a connection all is.
    if (id == cNotSent) mOutbox.confirmed(id);
  }
  auto& events = mPublisher.events();
  for (int id = 0; !events.empty() && mEventsUnderWay.size() < cEventsUnderWay;
       events.pop_front()) {
    if (!send({mTopics.events(), events.front()}, false, true, id)) break;
    mEventsUnderWay.insert(id);
  }
  if (mOutbox.isStuck(now)) mLink.renew("it confirms nothing");
}

void Bridge::say(const std::string& line) {
  mOutput->print(tools::clockText() + "  " + line);
}

void Bridge::sayWhatWaits(Time now) {
  std::vector<std::string> lines;
  {
    const std::lock_guard lock(mSayMutex);
    lines.swap(mToSay);
  }
  for (const std::string& line : lines)
    tools::complain("{}", line);
  if (mState != eOpen) return;
  for (const auto& mirror : mMirrors)
    if (const auto news = mirror->news(now)) say("mirror   " + *news);
}

void Bridge::printCounters(Time now) {
  mNextCounters = now + std::chrono::seconds(mOptions.countersSeconds);
  say(
      fmt::format("counted  {} clients, {} topics; {} messages with {} bytes sent, {} refused, {} "
                  "waiting; {} taken, {} dropped; {} connections",
                  mPublisher.clients(), mOutbox.topics(), mCounters.sent, mCounters.sentBytes,
                  mCounters.refused, mOutbox.waiting(), mCounters.taken, mCounters.dropped,
                  mCounters.connections));
}

/// Who reads learns that the site is gone; what it was like stays, as after any other end.
void Bridge::end() {
  const auto start = steady_clock::now();
  mOutbox.set(mTopics.host(), hostPayload("gone", {}));
  while (mState == eOpen && !mOutbox.isEmpty() && steady_clock::now() - start < cEndTime) {
    sendWhatIsDue(steady_clock::now());
    mLink.run(Outbox::cPace);
  }
  mLink.close(mState == eOpen && mOutbox.isEmpty());
}

}  // namespace mqtt
