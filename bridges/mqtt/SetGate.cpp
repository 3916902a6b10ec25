// SPDX-License-Identifier: BSL-1.0
#include "bridges/mqtt/SetGate.h"

#include <algorithm>
#include <utility>

#include <fmt/core.h>

#include "bridges/mqtt/Payload.h"
#include "tools/Failure.h"
#include "tools/ForeignRow.h"
#include "tools/Text.h"

namespace mqtt {
namespace {

constexpr std::string_view cSet = "/set";

std::vector<std::string_view> levelsOf(std::string_view text) {
  std::vector<std::string_view> levels;
  for (std::size_t end; (end = text.find('/')) != std::string_view::npos;) {
    levels.push_back(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  levels.push_back(text);
  return levels;
}

/// "*" stands for any characters; for long texts too it takes no more than their product.
bool matches(std::string_view pattern, std::string_view text) {
  std::size_t p = 0, t = 0, star = std::string_view::npos, from = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      from = t;
    } else if (p < pattern.size() && pattern[p] == text[t]) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++from;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

bool matchesLevels(std::string_view pattern, std::string_view text) {
  const auto wanted = levelsOf(pattern), levels = levelsOf(text);
  return std::equal(wanted.begin(), wanted.end(), levels.begin(), levels.end(), matches);
}

bool isPattern(const std::string& text) {
  const auto levels = levelsOf(text);
  const bool isOfTopics = std::all_of(levels.begin(), levels.end(), [](std::string_view level) {
    std::string without(level);
    std::erase(without, '*');
    return !level.empty() && (without.empty() || unescaped(without));
  });
  return levels.size() == 3 && isOfTopics &&
         (matches(levels[1], "parameters") || matches(levels[1], "strings"));
}

}  // namespace

SetGate::SetGate(std::vector<std::string> patterns, const SiteTopics& topics)
    : mPatterns(std::move(patterns)), mTopics(topics) {
  for (const std::string& pattern : mPatterns) {
    if (isPattern(pattern)) continue;
    throw tools::Failure(tools::eExitUsage,
                         "\"{}\" is no pattern of values. Write one such as desk/parameters/40, "
                         "desk/strings/* or */*/*.",
                         tools::printable(pattern));
  }
}

std::vector<std::string> SetGate::filters() const {
  std::vector<std::string> filters;
  for (const std::string& pattern : mPatterns) {
    std::string filter = mTopics.all();
    filter.pop_back();
    filter += "clients";
    for (const std::string_view level : levelsOf(pattern)) {
      filter += "/";
      filter += level.find('*') != std::string_view::npos ? "+" : level;
    }
    filters.push_back(filter + std::string(cSet));
  }
  return filters;
}

std::optional<SetGate::Target> SetGate::target(const std::string& topic) const {
  if (mPatterns.empty() || !topic.ends_with(cSet)) return std::nullopt;
  const std::string name = topic.substr(0, topic.size() - cSet.size());
  const auto ofClient = mTopics.takeApart(name);
  const auto place = ofClient ? placeOfTail(ofClient->tail) : std::nullopt;
  if (!place) throw BadMessage("no client has such a value");
  const std::string value = escaped(ofClient->id) + "/" + ofClient->tail;
  const bool isAllowed =
      std::any_of(mPatterns.begin(), mPatterns.end(),
                  [&](const std::string& pattern) { return matchesLevels(pattern, value); });
  if (!isAllowed) throw BadMessage("no --allow-set lets it through");
  return Target{ofClient->id, *place};
}

void writeValue(const SetGate::Target& target, std::string_view payload) {
  try {
    if (target.place.isText) {
      const std::string text = wantedText(payload);
      tools::ForeignRow(target.id).put(target.place.index, text);
    } else {
      const float number = wantedNumber(payload);
      tools::ForeignRow(target.id).set(target.place.index, number);
    }
  } catch (const tools::Failure& failure) {
    throw BadMessage(failure.what());
  }
}

}  // namespace mqtt
