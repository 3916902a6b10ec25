// SPDX-License-Identifier: BSL-1.0
#include "host/Timeline.h"

#include "lipc/util/VectOp.h"

namespace host {

using LIPC::VectOp;

namespace {

/// A client that has been silent for longer than this is not waited for.
constexpr long long cPatience = Timeline::cCapacity / 2;

}  // namespace

/// Visits [t, t + count) in at most two pieces: the samples lie in a circle.
template <class Stretch>
void Timeline::forEachStretch(long long t, unsigned count, Stretch stretch) {
  for (unsigned done = 0; done < count;) {
    const unsigned place = placeOf(t + done);
    const unsigned piece = std::min(count - done, cCapacity - place);
    stretch(place, done, piece);
    done += piece;
  }
}

void Timeline::keep(const std::set<unsigned>& channels) {
  mKept = channels;
  std::erase_if(mSamples, [&](const auto& channel) { return channels.count(channel.first) == 0; });
  for (const unsigned channel : channels)
    mSamples.try_emplace(channel, cCapacity, 0.0F);
}

void Timeline::clear(long long t, unsigned count) {
  for (auto& [channel, samples] : mSamples) {
    float* const all = samples.data();
    forEachStretch(t, count,
                   [&](unsigned place, unsigned, unsigned n) { VectOp::zero(all + place, n); });
  }
}

void Timeline::advance(long long t, unsigned count) {
  if (t < mBegin || t - mEnd > static_cast<long long>(cCapacity)) {
    mBegin = t;
  } else if (t > mEnd) {
    clear(mEnd, static_cast<unsigned>(t - mEnd));
  }
  mEnd = t + count;
  mBegin = std::max(mBegin, mEnd - static_cast<long long>(cCapacity));
}

void Timeline::write(unsigned channel, long long t, unsigned count, const float* samples) {
  const auto found = mSamples.find(channel);
  if (found == mSamples.end()) return;
  float* const all = found->second.data();
  forEachStretch(t, count, [&](unsigned place, unsigned done, unsigned n) {
    if (samples != nullptr) {
      VectOp::copy(samples + done, all + place, n);
    } else {
      VectOp::zero(all + place, n);
    }
  });
}

bool Timeline::isAwaited(long long t, unsigned count) const {
  return !isPast(t, count) && mEnd > mBegin && mEnd > t - cPatience;
}

void Timeline::addTo(float* out, unsigned channel, long long t, unsigned count) const {
  const auto found = mSamples.find(channel);
  if (found == mSamples.end()) return;
  const long long from = std::max(t, mBegin);
  const long long to = std::min(t + count, mEnd);
  if (from >= to) return;
  float* const start = out + (from - t);
  const float* const all = found->second.data();
  forEachStretch(from, static_cast<unsigned>(to - from),
                 [&](unsigned place, unsigned done, unsigned n) {
                   VectOp::add_I(all + place, start + done, n);
                 });
}

}  // namespace host
