// SPDX-License-Identifier: BSL-1.0
#include "host/ClockWatch.h"

#include <algorithm>

namespace host {
namespace {

unsigned long long distanceOf(const AudioCycle::Hearing& hearing) {
  const auto [low, high] = std::minmax(hearing.source.newestStamp, hearing.target.newestStamp);
  return static_cast<unsigned long long>(high) - static_cast<unsigned long long>(low);
}

bool areApart(const AudioCycle::Hearing& hearing) {
  return distanceOf(hearing) > ClockWatch::cFar;
}

std::string sentence(const AudioCycle::Hearing& hearing) {
  const std::string source = hearing.source.id.text(), target = hearing.target.id.text();
  return target + " hears nothing of " + source + ": their stamps lie " +
         std::to_string(distanceOf(hearing)) +
         " samples apart, and all clients of a session have to count one clock";
}

}  // namespace

std::vector<std::string> ClockWatch::look(const std::vector<AudioCycle::Hearing>& hearings) {
  std::vector<std::string> found;
  decltype(mPairs) pairs;
  for (const AudioCycle::Hearing& hearing : hearings) {
    if (!areApart(hearing)) continue;
    const auto key = std::pair(hearing.source.id, hearing.target.id);
    Pair now{hearing};
    if (const auto last = mPairs.find(key); last != mPairs.end()) {
      const AudioCycle::Hearing& before = last->second.before;
      const bool haveBothSent = hearing.source.blocks != before.source.blocks &&
                                hearing.target.blocks != before.target.blocks;
      now.isSaid = last->second.isSaid;
      if (haveBothSent && !now.isSaid) {
        found.push_back(sentence(hearing));
        now.isSaid = true;
      }
    }
    pairs.emplace(key, now);
  }
  mPairs = std::move(pairs);
  return found;
}

}  // namespace host
