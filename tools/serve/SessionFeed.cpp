// SPDX-License-Identifier: BSL-1.0
#include "tools/serve/SessionFeed.h"

#include <exception>
#include <utility>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "tools/Failure.h"
#include "tools/Picture.h"
#include "tools/Reading.h"
#include "tools/Text.h"
#include "tools/graph/GraphDrawing.h"

namespace tools {
namespace {

using inspect::SessionPicture;
using json = nlohmann::ordered_json;

/// Whether something may be other than it was in the session's list of connections.
bool isAboutConnections(inspect::Event::eKind kind) {
  using Kind = inspect::Event::eKind;
  switch (kind) {
    case Kind::eConnected:
    case Kind::eDisconnected:
    case Kind::eWiresChanged:
    case Kind::eSessionThere:
    case Kind::eSessionGone:
    case Kind::eHostChanged:
    case Kind::ePoolUnreadable:
    case Kind::ePoolReadable:
      return true;
    default:
      return false;
  }
}

std::string messageText(const char* event, const json& data) {
  return fmt::format("event: {}\ndata: {}\n\n", event, dump(data, -1));
}

}  // namespace

SessionFeed::SessionFeed(std::unique_ptr<inspect::Source> source, std::string from)
    : mSource(std::move(source)),
      mFrom(std::move(from)),
      mModel(!mSource->isLive()),
      mThread([this] { run(); }) {}

SessionFeed::~SessionFeed() {
  close();
  mThread.join();
}

void SessionFeed::close() {
  const std::lock_guard lock(mMutex);
  mIsClosed = true;
  mWake.notify_all();
  mChanged.notify_all();
}

void SessionFeed::run() {
  std::unique_lock lock(mMutex);
  for (;;) {
    const bool isResting = mLookers == 0;
    mWake.wait(lock, [&] {
      return mIsClosed || (mLookers > 0 && (mSource->isLive() || mPicture == nullptr));
    });
    if (mIsClosed) return;
    if (isResting || mPicture == nullptr) begin();
    const auto next = std::chrono::steady_clock::now() + cLookInterval;
    const bool isThorough = mThoroughLookers > 0 || !mSource->isLive();
    lock.unlock();
    const auto picture = look(isThorough);
    Messages messages = messagesOf(*picture);
    lock.lock();
    mPicture = picture;
    publish(std::move(messages));
    mWake.wait_until(lock, next, [&] { return mIsClosed; });
  }
}

/// Whatever was seen before is old: nobody has looked since.
void SessionFeed::begin() {
  mModel = TopModel(!mSource->isLive());
  mFollower.reset();
  if (mSource->isLive()) mFollower.emplace();
  mIsFirst = true;
  mAllRowsDue = {};
  mAreConnectionsDue = true;
}

/// What was there already when it began to look is no event.
void SessionFeed::follow() {
  using Kind = inspect::Event::eKind;
  if (!mFollower) return;
  for (const inspect::Event& event : mFollower->look(*mSource)) {
    mAreConnectionsDue = mAreConnectionsDue || isAboutConnections(event.kind);
    mAllRowsDue = {};
    if (event.kind != Kind::ePresent && event.kind != Kind::eConnectionPresent)
      mHappened.push_back(dump(pageEvent(event), -1));
  }
}

SessionPicture SessionFeed::read(bool isThorough) {
  const auto now = std::chrono::steady_clock::now();
  mIsComplete = isThorough || now >= mAllRowsDue;
  if (mIsComplete) mAllRowsDue = now + cAllRowsInterval;
  SessionPicture session =
      readSession(*mSource, {.watchHeartbeatMS = mIsFirst ? cWatchHeartbeatMS : 0,
                             .withRings = true,
                             .withLevels = true,
                             .withConnections = std::exchange(mAreConnectionsDue, false),
                             .withSegments = isThorough,
                             .rows = mIsComplete ? LIPC::cMaxClients : mRows});
  mRows = cRowsAhead + (session.clients.empty() ? 0 : session.clients.back().index);
  return session;
}

std::shared_ptr<const PagePicture> SessionFeed::look(bool isThorough) {
  const auto picture = std::make_shared<PagePicture>();
  picture->isThorough = isThorough;
  try {
    mIsComplete = true;  // also where something fails
    mHappened.clear();
    if (mIsFirst || (mIsFollowDue = !mIsFollowDue)) follow();
    SessionPicture session = read(isThorough);
    const bool isFirst = std::exchange(mIsFirst, false);
    const bool hasBeaten = isFirst ? session.isBeating : session.heartbeat != mHeartbeat;
    mHeartbeat = session.heartbeat;
    mModel.add(std::move(session), std::chrono::steady_clock::now());
    if (isFirst || hasBeaten || mModel.isHostStalled()) mIsStalled = !hasBeaten;
    picture->session = mModel.session();
    picture->session.isBeating = !mIsStalled;
    picture->rows = mModel.rows();
    draw(*picture);
    judge(*picture);
  } catch (const std::exception& error) {
    picture->state = PagePicture::eUnreadable;
    picture->sentence = error.what();
  }
  return picture;
}

/// A drawing like the one before keeps its number.
void SessionFeed::draw(PagePicture& picture) {
  if (mIsComplete) {
    std::string graph = graphSvg(withClients(picture), {.withWires = true});
    const std::lock_guard lock(mMutex);
    if (graph != mGraph || mGraphNumber == 0) ++mGraphNumber;
    mGraph = std::move(graph);
  }
  picture.graph = mGraphNumber;
}

void SessionFeed::judge(PagePicture& picture) {
  picture.state = mSource->isLive() ? mIsStalled ? PagePicture::eStalled : PagePicture::eAlive
                                    : PagePicture::eFrozen;
  if (!mFrom.empty()) picture.sentence = mFrom;
  try {
    failUnlessRead(picture.session, mSource->isLive());
  } catch (const Failure& failure) {
    picture.state = picture.session.state == SessionPicture::eNone ? PagePicture::eNone
                                                                   : PagePicture::eUnreadable;
    picture.sentence = failure.what();
  }
}

/// Levels each time; what changes rarely is compared once a second.
SessionFeed::Messages SessionFeed::messagesOf(const PagePicture& picture) const {
  Messages messages;
  messages[{eLevels, ""}] = messageText("levels", pageLevels(picture));
  if (!mIsComplete) return messages;
  messages[{eSession, ""}] = messageText("session", pageSession(picture));
  for (const TopRow& row : picture.rows)
    messages[{eClient, pageKey(row)}] = messageText("client", pageClient(row));
  return messages;
}

void SessionFeed::publish(Messages messages) {
  if (mIsComplete)
    std::erase_if(mMessages, [&](const auto& known) { return !messages.contains(known.first); });
  for (auto& [key, text] : messages) {
    const auto known = mMessages.find(key);
    if (known != mMessages.end() && known->second.text == text) continue;
    mMessages[key] = {++mNumber, std::move(text)};
  }
  for (std::string& event : mHappened)
    mEvents.push_back({++mNumber, std::move(event)});
  while (mEvents.size() > cMostEvents)
    mEvents.pop_front();
  mChanged.notify_all();
}

std::string SessionFeed::eventsSince(std::uint64_t number) const {
  std::string list;
  for (const Message& event : mEvents)
    if (event.number > number) list += (list.empty() ? "" : ",") + event.text;
  return list.empty() ? list : "event: happened\ndata: [" + list + "]\n\n";
}

SessionFeed::Looker::Looker(SessionFeed& feed, bool isThorough)
    : mFeed(feed), mIsThorough(isThorough) {
  const std::lock_guard lock(mFeed.mMutex);
  if (mIsThorough) ++mFeed.mThoroughLookers;
  if (mFeed.mLookers++ == 0 && mFeed.mSource->isLive()) {
    mFeed.mPicture = nullptr;
    mFeed.mMessages.clear();
  }
  mFeed.mWake.notify_all();
}

SessionFeed::Looker::~Looker() {
  const std::lock_guard lock(mFeed.mMutex);
  --mFeed.mLookers;
  if (mIsThorough) --mFeed.mThoroughLookers;
}

std::optional<std::string> SessionFeed::Looker::next(std::chrono::milliseconds limit) {
  std::unique_lock lock(mFeed.mMutex);
  mFeed.mChanged.wait_for(lock, limit, [&] { return mFeed.mIsClosed || mFeed.mNumber > mSeen; });
  if (mFeed.mIsClosed) return std::nullopt;
  std::string text;
  if (mSeen == 0) text = messageText("begin", {{"format", "lipc-serve"}, {"version", 1}});
  for (const auto& [key, message] : mFeed.mMessages)
    if (message.number > mSeen) text += message.text;
  text += mFeed.eventsSince(mSeen);
  mSeen = mFeed.mNumber;
  return text.empty() ? messageText("still", json::object()) : text;
}

std::string SessionFeed::Looker::graph(std::chrono::milliseconds limit) {
  if (!picture(limit)) return {};
  const std::lock_guard lock(mFeed.mMutex);
  return mFeed.mGraph;
}

std::shared_ptr<const PagePicture> SessionFeed::Looker::picture(std::chrono::milliseconds limit) {
  std::unique_lock lock(mFeed.mMutex);
  const auto isFound = [&] {
    return mFeed.mPicture && (mFeed.mPicture->isThorough || !mIsThorough);
  };
  mFeed.mChanged.wait_for(lock, limit, [&] { return mFeed.mIsClosed || isFound(); });
  return !mFeed.mIsClosed && isFound() ? mFeed.mPicture : nullptr;
}

}  // namespace tools
