// SPDX-License-Identifier: BSL-1.0
#include "host/AudioCycle.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include <sched.h>

#include "lipc/util/Threads.h"

namespace host {
namespace {

using LIPC::Connection;

/// How long the thread looks for news before it sleeps: to wake a sleeper costs the client's audio
/// thread several microseconds inside its post, and the next block of a busy session comes soon.
constexpr std::chrono::microseconds cLook(50);
constexpr int cMostPosts = 1024;

bool hasWires(const Connection& connection) {
  return std::any_of(std::begin(connection.wires), std::end(connection.wires),
                     [](const Connection::Wire& wire) {
                       return wire.channel[Connection::eSourceSide] >= 0 &&
                              wire.channel[Connection::eTargetSide] >= 0;
                     });
}

bool areSame(const Connection& a, const Connection& b) {
  return haveSameEnds(a, b) && haveSameRouting(a, b) && a.isAuto == b.isAuto;
}

}  // namespace

AudioCycle::AudioCycle(const LIPC::Semaphore& newAudioData, const std::atomic<bool>& isPaused,
                       std::function<void(const std::string&)> report)
    : mNewData(newAudioData),
      mIsPaused(isPaused),
      mReport(std::move(report)),
      mThread(LIPC::startThread([this] { run(); })) {}

AudioCycle::~AudioCycle() {
  stop();
}

void AudioCycle::stop() {
  mStop = true;
  mNewData.post();
  if (mThread.joinable()) mThread.join();
}

void AudioCycle::add(const LIPC::ClientID& id) {
  auto stream = std::make_unique<ClientStream>(id);
  const std::lock_guard lock(mMutex);
  mClients.erase(id);
  if (stream->isAttached()) mClients[id].stream = std::move(stream);
  route();
}

void AudioCycle::remove(const LIPC::ClientID& id) {
  const std::lock_guard lock(mMutex);
  if (mClients.erase(id) != 0) route();
}

void AudioCycle::keepOnly(const std::set<LIPC::ClientID>& present) {
  const std::lock_guard lock(mMutex);
  const auto isGone = [&](const auto& client) { return present.count(client.first) == 0; };
  if (std::erase_if(mClients, isGone) != 0) route();
}

void AudioCycle::setConnections(const std::vector<Connection>& connections) {
  const std::lock_guard lock(mMutex);
  if (std::equal(connections.begin(), connections.end(), mConnections.begin(), mConnections.end(),
                 areSame)) {
    return;
  }
  mConnections = connections;
  route();
}

std::vector<AudioCycle::ClientCounters> AudioCycle::counters() {
  const std::lock_guard lock(mMutex);
  std::vector<ClientCounters> all;
  for (const auto& [id, client] : mClients)
    all.push_back({id, client.stream->counters()});
  return all;
}

std::vector<AudioCycle::Hearing> AudioCycle::hearings() {
  const std::lock_guard lock(mMutex);
  const auto progress = [](const ClientStream& stream) {
    return Progress{stream.id(), stream.newestStamp(), stream.counters().blocksIn};
  };
  std::vector<Hearing> all;
  for (const auto& [id, client] : mClients) {
    for (const Path& path : client.heard) {
      const Hearing hearing{progress(*path.source), progress(*client.stream)};
      if (hearing.source.blocks != 0 && hearing.target.blocks != 0) all.push_back(hearing);
    }
  }
  return all;
}

void AudioCycle::route() {
  for (auto& [id, client] : mClients) {
    client.heard.clear();
    client.listeners.clear();
  }
  for (const Connection& connection : mConnections) {
    if (connection.disconnectRequested == 0) connect(connection);
  }
  std::map<const ClientStream*, std::set<unsigned>> needed;
  for (const auto& [id, client] : mClients) {
    for (const Path& path : client.heard)
      needed[path.source].insert(path.from);
  }
  for (auto& [id, client] : mClients)
    client.stream->sent().keep(needed[client.stream.get()]);
}

void AudioCycle::connect(const Connection& connection) {
  const auto source = mClients.find(connection.source);
  const auto target = mClients.find(connection.target);
  if (source == mClients.end() || target == mClients.end()) return;
  ClientStream& from = *source->second.stream;
  ClientStream& to = *target->second.stream;
  const unsigned inputs = from.inputChannelCount();
  const unsigned outputs = to.outputChannelCount();
  source->second.listeners.push_back(&to);
  std::vector<Path>& heard = target->second.heard;
  if (connection.isAuto != 0 && !hasWires(connection)) {
    for (unsigned c = 0; c < std::min(inputs, outputs); ++c)
      heard.push_back({&from, c, c});
    return;
  }
  for (const Connection::Wire& wire : connection.wires) {
    // A number below 0 is above every count.
    const auto fromChannel = static_cast<unsigned>(wire.channel[Connection::eSourceSide]);
    const auto toChannel = static_cast<unsigned>(wire.channel[Connection::eTargetSide]);
    if (fromChannel < inputs && toChannel < outputs)
      heard.push_back({&from, fromChannel, toChannel});
  }
}

void AudioCycle::run() {
  LIPC::setCurrentThreadName("LIPC host audio");
  try {
    while (waitForNews())
      if (!mIsPaused) cycle();
  } catch (const std::exception& error) {
    mReport(std::string("the audio thread ended: ") + error.what());
  }
}

/// False when the host is stopping.
bool AudioCycle::waitForNews() {
  const auto end = std::chrono::steady_clock::now() + cLook;
  while (!mNewData.try_wait()) {
    if (std::chrono::steady_clock::now() >= end) {
      mNewData.wait();
      break;
    }
    sched_yield();
  }
  // One cycle serves all posts that are there.
  for (int post = 0; post < cMostPosts && mNewData.try_wait(); ++post) {
  }
  return !mStop;
}

void AudioCycle::cycle() {
  const std::lock_guard lock(mMutex);
  for (auto& [id, client] : mClients) {
    const std::vector<ClientStream*>& listeners = client.listeners;
    client.stream->readNew([&](long long stamp) {
      return std::any_of(listeners.begin(), listeners.end(), [&](const ClientStream* listener) {
        return listener->answeredUpTo() > stamp;
      });
    });
  }
  for (auto& [id, client] : mClients) {
    ClientStream& stream = *client.stream;
    while (stream.hasBlock() && (stream.isOldestDue() || !isAnySourceAwaited(client)))
      answer(client);
  }
}

bool AudioCycle::isAnySourceAwaited(const Client& client) {
  const ClientStream::Block& block = client.stream->oldest();
  return std::any_of(client.heard.begin(), client.heard.end(), [&](const Path& path) {
    return path.source->sent().isAwaited(block.timeStamp, block.samples);
  });
}

void AudioCycle::answer(Client& client) {
  const ClientStream::Block& block = client.stream->oldest();
  client.stream->answerOldest([&](unsigned channel, float* samples) {
    for (const Path& path : client.heard) {
      if (path.to != channel) continue;
      path.source->sent().addTo(samples, path.from, block.timeStamp, block.samples);
    }
  });
}

}  // namespace host
