// SPDX-License-Identifier: BSL-1.0
#include "bench/ChainByHand.h"

#include <chrono>
#include <cstring>

#include "lipc/session/SessionNames.h"
#include "lipc/util/SharedWord.h"

namespace bench {
namespace {

/// As long as the reference host lets blocks gather.
constexpr std::chrono::microseconds cGather(50);

}  // namespace

ChainByHand::Member::Member(const std::string& id)
    : buffer(id.c_str()),
      send((id + LIPC::cSendSuffix).c_str()),
      returns((id + LIPC::cReturnSuffix).c_str()) {}

ChainByHand::ChainByHand(LIPC::SessionBuffer& session, unsigned channels, int samples, int clients)
    : mChannels(channels),
      mBytes(static_cast<std::size_t>(samples) * sizeof(float)),
      mClients(static_cast<std::size_t>(clients)),
      mNewData(session.newAudioDataSemaphore),
      mThread([this] { run(); }) {}

ChainByHand::~ChainByHand() {
  mStop = true;
  mNewData.post();
  mThread.join();
}

void ChainByHand::run() {
  for (;;) {
    mNewData.wait();
    if (mStop) return;
    std::this_thread::sleep_for(cGather);
    mNewData.clear();
    if (mMembers.empty()) attach();
    Member* source = nullptr;
    for (const auto& member : mMembers) {
      std::int64_t stamp = 0;
      while (member->buffer->newDataQueue.take(stamp))
        answer(*member, source);
      source = member.get();
    }
  }
}

/// The first block is announced when all have joined.
void ChainByHand::attach() {
  for (std::size_t client = 0; client < mClients; ++client)
    mMembers.push_back(std::make_unique<Member>(idOf(static_cast<int>(client))));
}

void ChainByHand::answer(Member& member, Member* source) const {
  const int index = ++member.blocks % LIPC::SHMSlices::cSliceCount;
  LIPC::SHMSliceBuffer& to = member.returns->slices[index];
  for (unsigned c = 0; c < mChannels; ++c) {
    float* const samples = to.getChannelSamples(static_cast<unsigned short>(c));
    if (source == nullptr) {
      std::memset(samples, 0, mBytes);
    } else {
      LIPC::SHMSliceBuffer& from = source->send->slices[index];
      std::memcpy(samples, from.getChannelSamples(static_cast<unsigned short>(c)), mBytes);
    }
  }
  std::memcpy(to.parameters, member.send->slices[index].parameters, sizeof to.parameters);
  LIPC::storeRelease(to.ready, std::uint8_t{1});
}

}  // namespace bench
