// SPDX-License-Identifier: BSL-1.0
#include "host/AudioCycle.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include "lipc/util/Threads.h"
#include "lipc/util/VectOp.h"

namespace host {
namespace {

using LIPC::Connection;
using LIPC::VectOp;

/// How long the thread lets blocks gather once it was woken. To wake it costs the client several
/// microseconds inside its post, and most clients of a session send at about the same time: the
/// first wakes, the others find it awake. Far below the time of four blocks.
constexpr std::chrono::microseconds cGather(50);
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

bool haveSame(const std::vector<Connection>& a, const std::vector<Connection>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), areSame);
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
  if (haveSame(connections, mConnections)) return;
  mConnections = connections;
  route();
}

bool AudioCycle::carries(const std::vector<Connection>& connections) {
  const std::lock_guard lock(mMutex);
  return haveSame(connections, mConnections);
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
    for (const Source& source : client.sources) {
      const Hearing hearing{progress(*source.stream), progress(*client.stream)};
      if (hearing.source.blocks != 0 && hearing.target.blocks != 0) all.push_back(hearing);
    }
  }
  return all;
}

void AudioCycle::route() {
  for (auto& [id, client] : mClients) {
    client.sources.clear();
    client.paths.clear();
  }
  std::map<const ClientStream*, std::vector<const ClientStream*>> listeners;
  for (const Connection& connection : mConnections) {
    const auto source = mClients.find(connection.source);
    const auto target = mClients.find(connection.target);
    if (connection.disconnectRequested != 0) continue;
    if (source == mClients.end() || target == mClients.end()) continue;
    connect(connection, source->second, target->second);
    listeners[source->second.stream.get()].push_back(target->second.stream.get());
  }
  std::map<const ClientStream*, std::set<unsigned>> heard;
  for (auto& [id, client] : mClients) {
    for (const Path& path : client.paths)
      heard[client.sources[path.source].stream].insert(path.from);
  }
  for (auto& [id, client] : mClients) {
    ClientStream& stream = *client.stream;
    stream.setListeners(listeners[&stream], heard[&stream]);
  }
}

void AudioCycle::connect(const Connection& connection, Client& source, Client& target) {
  const unsigned inputs = source.stream->inputChannelCount();
  const unsigned outputs = target.stream->outputChannelCount();
  const auto add = [&](unsigned from, unsigned to) {
    const auto isSource = [&](const Source& known) { return known.stream == source.stream.get(); };
    const auto known = std::find_if(target.sources.begin(), target.sources.end(), isSource);
    const auto index = static_cast<unsigned>(known - target.sources.begin());
    if (known == target.sources.end()) target.sources.push_back({source.stream.get(), nullptr, {}});
    // Behind those of the same channel: samples are added up in the order of the connections.
    const auto isBehind = [](unsigned channel, const Path& path) { return channel < path.to; };
    const auto place = std::upper_bound(target.paths.begin(), target.paths.end(), to, isBehind);
    target.paths.insert(place, {index, from, to});
  };
  if (connection.isAuto != 0 && !hasWires(connection)) {
    for (unsigned c = 0; c < std::min(inputs, outputs); ++c)
      add(c, c);
    return;
  }
  for (const Connection::Wire& wire : connection.wires) {
    // A number below 0 is above every count.
    const auto from = static_cast<unsigned>(wire.channel[Connection::eSourceSide]);
    const auto to = static_cast<unsigned>(wire.channel[Connection::eTargetSide]);
    if (from < inputs && to < outputs) add(from, to);
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
  mNewData.wait();
  std::this_thread::sleep_for(cGather);
  // One cycle serves all posts that are there.
  for (int post = 0; post < cMostPosts && mNewData.try_wait(); ++post) {
  }
  return !mStop;
}

void AudioCycle::cycle() {
  const std::lock_guard lock(mMutex);
  for (auto& [id, client] : mClients)
    client.stream->readNew();
  for (auto& [id, client] : mClients) {
    ClientStream& stream = *client.stream;
    while (stream.hasBlock() && (!isAnySourceAwaited(client) || stream.isOldestDue()))
      answer(client);
  }
}

bool AudioCycle::isAnySourceAwaited(const Client& client) {
  const ClientStream::Block& block = client.stream->oldest();
  return std::any_of(client.sources.begin(), client.sources.end(), [&](const Source& source) {
    return source.stream->isAwaited(block.timeStamp, block.samples);
  });
}

void AudioCycle::answer(Client& client) {
  const ClientStream::Slot slot = client.stream->openSlot();
  while (slot.slice != nullptr && !mix(client, slot.samples)) {
  }
  client.stream->answerOldest(slot);
}

/// Adds up in `out` what the client hears with its oldest block: the first source writes, the
/// others add. False when a source wrote over its block meanwhile: then once more, without it.
bool AudioCycle::mix(Client& client, const LIPC::SliceSamples& out) {
  const auto [t, count, slice, stamp] = client.stream->oldest();
  for (Source& source : client.sources) {
    source.block = source.stream->standing(t, count);
    if (source.block != nullptr) source.samples = source.stream->samplesOf(*source.block);
  }
  auto path = client.paths.begin();
  for (unsigned c = 0; c < out.channelCount; ++c) {
    float* const samples = out.channel(c);
    bool isWritten = false;
    for (; path != client.paths.end() && path->to == c; ++path) {
      const Source& source = client.sources[path->source];
      if (source.block == nullptr) {
        if (!isWritten) VectOp::zero(samples, count);
        source.stream->timeline().addTo(samples, path->from, t, count);
      } else if (path->from >= source.samples.channelCount) {
        continue;  // silence
      } else if (isWritten) {
        VectOp::add_I(source.samples.channel(path->from), samples, count);
      } else {
        VectOp::copy(source.samples.channel(path->from), samples, count);
      }
      isWritten = true;
    }
    if (!isWritten) VectOp::zero(samples, count);
  }
  return areAllStill(client.sources);
}

/// What changed goes into the timeline, as silence.
bool AudioCycle::areAllStill(const std::vector<Source>& sources) {
  bool areStill = true;
  for (const Source& source : sources) {
    if (source.block == nullptr || ClientStream::isStill(*source.block)) continue;
    source.stream->settle();
    areStill = false;
  }
  return areStill;
}

}  // namespace host
