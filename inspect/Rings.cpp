// SPDX-License-Identifier: BSL-1.0
#include "inspect/Rings.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "lipc/realtime/MappedRing.h"
#include "lipc/util/Meters.h"
#include "lipc/util/SharedWord.h"

namespace inspect {
namespace {

using LIPC::SHMSliceBuffer;
using LIPC::SHMSlices;

constexpr int cAnswerAge = 4;  // blocks behind the newest in which a client looks for its answer
constexpr std::int64_t cStampTolerance = 2;
constexpr std::int64_t cMostMissed = 100;  // more is a clock that was set
constexpr int cReads = 3;                  // of a ring that advances meanwhile

/// a - b; wraps where stamps are spoilt.
std::int64_t stepOf(std::int64_t a, std::int64_t b) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

SlicePicture pictureOf(const SHMSliceBuffer& slice) {
  SlicePicture picture;
  picture.timeStamp = LIPC::loadAcquire(slice.timeStamp);
  picture.sampleCount = slice.sampleCount;
  picture.isReady = LIPC::loadAcquire(slice.ready) != 0;
  picture.clientID.assign(slice.clientID, strnlen(slice.clientID, sizeof slice.clientID));
  return picture;
}

std::vector<float> peaksOf(const LIPC::MappedRing& ring, SHMSliceBuffer& slice) {
  const LIPC::SliceSamples samples = ring.samplesOf(slice);
  const unsigned count = std::min<unsigned>(slice.sampleCount, LIPC::SHMChannel::cSampleCount);
  std::vector<float> peaks(samples.channelCount);
  for (unsigned channel = 0; channel < samples.channelCount; ++channel) {
    const float* const data = samples.channel(channel);
    LIPC::computeVU_peak(&data, 1, count, &peaks[channel], 1);
  }
  return peaks;
}

/// The age of the newest slice whose samples are whole.
int wholeAge(const RingPicture& ring, bool isSend) {
  if (isSend) return 1;
  int age = 0;
  while (age < SHMSlices::cSliceCount - 1 && !ring.behind(age).isReady)
    ++age;
  return age;
}

}  // namespace

std::optional<RingPicture> ringOf(const Mapping& mapping, bool isSend, bool withLevels) {
  const auto* shared = mapping.as<SHMSlices>();
  if (shared == nullptr) return std::nullopt;
  // MappedRing is made for who writes, too; nothing here does.
  auto* slices = const_cast<SHMSlices*>(shared);
  const LIPC::MappedRing mapped(slices, mapping.size());

  RingPicture ring;
  ring.channels = mapped.channelCount();
  for (int read = 0; read < cReads; ++read) {
    ring.newest = slices->currentIndex();
    for (int i = 0; i < SHMSlices::cSliceCount; ++i)
      ring.slices[static_cast<std::size_t>(i)] = pictureOf(slices->slices[i]);
    if (ring.newest == slices->currentIndex()) break;
  }
  if (withLevels) {
    constexpr int count = SHMSlices::cSliceCount;
    const int index = (ring.newest + count - wholeAge(ring, isSend)) % count;
    ring.peaks = peaksOf(mapped, slices->slices[index]);
  }
  return ring;
}

bool isMissed(const RingPicture& answer, int age) {
  const SlicePicture& slice = answer.behind(age);
  return age >= cAnswerAge && slice.sampleCount != 0 && !slice.isReady;
}

MissedCount countMissed(const RingPicture& answer) {
  MissedCount count;
  for (int age = cAnswerAge; age < SHMSlices::cSliceCount; ++age) {
    if (answer.behind(age).sampleCount == 0) continue;
    ++count.looked;
    if (isMissed(answer, age)) ++count.missed;
  }
  return count;
}

BlockStep stepBefore(const RingPicture& send, int age) {
  if (age + 1 >= SHMSlices::cSliceCount) return {};
  const SlicePicture& block = send.behind(age);
  const SlicePicture& before = send.behind(age + 1);
  if (block.sampleCount == 0 || before.sampleCount == 0) return {};
  const std::int64_t step = stepOf(block.timeStamp, before.timeStamp);
  const std::int64_t samples = before.sampleCount;
  if (step <= 0 || step > cMostMissed * samples) return {BlockStep::eJump, 0};
  const std::int64_t blocks = (step + cStampTolerance) / samples;
  const std::int64_t off = step - blocks * samples;
  if (blocks == 0 || off > cStampTolerance || off < -cStampTolerance) return {BlockStep::eJump, 0};
  if (blocks == 1) return {BlockStep::eNext, 0};
  return {BlockStep::eMissing, blocks - 1};
}

const char* stepName(BlockStep::eKind kind) {
  constexpr const char* cNames[] = {"unknown", "next", "missing", "jump"};
  return cNames[kind];
}

eAnswer newestAnswer(const RingPicture& answer) {
  const SlicePicture& newest = answer.behind(0);
  if (newest.sampleCount == 0 || answer.behind(cAnswerAge).sampleCount == 0)
    return eAnswer::eNotDue;
  const std::int64_t due = stepOf(newest.timeStamp, std::int64_t{cAnswerAge} * newest.sampleCount);
  for (int age = 0; age < SHMSlices::cSliceCount; ++age) {
    const std::int64_t off = stepOf(answer.behind(age).timeStamp, due);
    if (off == 0 || off == cStampTolerance || off == -cStampTolerance)
      return answer.behind(age).isReady ? eAnswer::eThere : eAnswer::eNotReady;
  }
  return eAnswer::eNoSlice;
}

}  // namespace inspect
