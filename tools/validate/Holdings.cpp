// SPDX-License-Identifier: BSL-1.0
#include "tools/validate/Holdings.h"

#include <chrono>
#include <thread>
#include <vector>

#include <fmt/core.h>

#include "lipc/util/platform/SemaphorePlatform.h"

namespace tools::validate {
namespace {

constexpr std::size_t cMostNamed = 4;

/// "3 threads (a, b, c)"
void add(std::string& all, const char* kind, const std::vector<std::string>& things) {
  if (things.empty()) return;
  std::string names;
  for (std::size_t i = 0; i < things.size() && i < cMostNamed; ++i)
    names += (i == 0 ? "" : ", ") + things[i];
  if (things.size() > cMostNamed) names += ", ...";
  all += fmt::format("{}{} {}{} ({})", all.empty() ? "" : "; ", things.size(), kind,
                     things.size() == 1 ? "" : "s", names);
}

std::vector<std::string> newIn(const LIPC::platform::Listing& now,
                               const LIPC::platform::Listing& before) {
  std::vector<std::string> things;
  if (!now || !before) return things;
  for (const auto& [key, words] : *now) {
    if (before->count(key) == 0) things.push_back(fmt::format("{} \"{}\"", key, words));
  }
  return things;
}

template <class List>
std::string leftOf(Context& context, const Holdings& before, const List& list) {
  constexpr int cLooks = 20;
  constexpr std::chrono::milliseconds cLook(50);
  context.reporter.step("the look at what is left", context.callTime + cLooks * cLook);
  std::string left;
  for (int look = 0; look < cLooks; ++look) {
    left = list().beyond(before);
    if (left.empty()) break;
    std::this_thread::sleep_for(cLook);
  }
  return left;
}

}  // namespace

Holdings Holdings::now() {
  Holdings all{LIPC::platform::listOwnThreads(),
               LIPC::platform::listOwnFiles(),
               LIPC::platform::listOwnSegments(),
               {}};
  if (const auto semaphores = LIPC::platform::listNamedSemaphores()) {
    for (const auto& semaphore : *semaphores)
      all.semaphores.insert(semaphore.name);
  }
  return all;
}

std::string Holdings::beyond(const Holdings& before) const {
  std::string all;
  add(all, "thread", newIn(threads, before.threads));
  add(all, "open file", newIn(files, before.files));
  add(all, "shared memory segment", newIn(segments, before.segments));
  std::vector<std::string> names;
  for (const std::string& name : semaphores) {
    if (before.semaphores.count(name) == 0) names.push_back(name);
  }
  add(all, "named semaphore", names);
  return all;
}

std::string Holdings::unknown() const {
  std::string all;
  const auto addUnknown = [&](bool isKnown, const char* kind) {
    if (!isKnown) all += (all.empty() ? "" : ", ") + std::string(kind);
  };
  addUnknown(threads.has_value(), "threads");
  addUnknown(files.has_value(), "open files");
  // A system lists both or neither.
  addUnknown(segments.has_value(), "shared memory segments");
  addUnknown(segments.has_value(), "named semaphores");
  return all;
}

std::string leftBeyond(Context& context, const Holdings& before) {
  return leftOf(context, before, &Holdings::now);
}

std::string threadsBeyond(Context& context, const Holdings& before) {
  return leftOf(context, before, [] {
    return Holdings{LIPC::platform::listOwnThreads(), std::nullopt, std::nullopt, {}};
  });
}

}  // namespace tools::validate
