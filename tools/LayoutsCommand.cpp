// SPDX-License-Identifier: BSL-1.0
#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include "tables/SpeakerLayouts.h"
#include "tools/Commands.h"
#include "tools/ExitStatus.h"
#include "tools/Output.h"
#include "tools/Picture.h"
#include "tools/Text.h"
#include "tools/WholeFile.h"
#include "tools/layouts/LayoutDrawing.h"

namespace tools {
namespace {

using json = nlohmann::ordered_json;

struct LayoutsOptions {
  std::string key;
  bool asJson = false;
  std::string svgPath;
};

/// One key with its speakers and, where there is one, its layout.
struct Entry {
  int key;
  const LSS::MixLayout* layout;  // null: the key has speakers only
  int channels;
  int lfeChannels;
  std::span<const LSS::Speaker> speakers;
};

const LSS::MixLayout* layoutOf(int key) {
  for (const auto* layouts : {&LSS::cMixLayouts, &LSS::cVexoMaxLayouts}) {
    const auto found = layouts->find(key);
    if (found != layouts->end()) return &found->second;
  }
  return nullptr;
}

std::vector<Entry> entries() {
  std::vector<Entry> all;
  for (const auto& [key, first] : LSS::cSpeakerLabels) {
    const LSS::MixLayout* const layout = layoutOf(key);
    if (layout != nullptr) {
      const int count = layout->channels + layout->lfeChannels;
      all.push_back({key, layout, layout->channels, layout->lfeChannels,
                     std::span(first, static_cast<std::size_t>(count))});
    } else if (first == LSS::cSpeakerLabels_Vexo_13_1_661) {
      all.push_back({key, nullptr, 13, 1, LSS::cSpeakerLabels_Vexo_13_1_661});
    }
  }
  return all;
}

std::string listText() {
  constexpr const char* cRow = "{:>3}  {:<20}  {:>8}  {:>3}  {:>4}  {}\n";
  std::string text = fmt::format(cRow, "key", "name", "channels", "LFE", "flag", "native name");
  for (const Entry& entry : entries()) {
    const bool hasLayout = entry.layout != nullptr;
    const bool hasNativeName = hasLayout && entry.layout->nativeName != nullptr;
    text +=
        fmt::format(cRow, entry.key, hasLayout ? entry.layout->name : "(no name)", entry.channels,
                    entry.lfeChannels, hasLayout ? std::to_string(entry.layout->layoutFlag) : "-",
                    hasNativeName ? entry.layout->nativeName : "-");
  }
  return text;
}

std::string headingText(const Entry& entry) {
  const std::string counts = fmt::format("{} channels, {} LFE", entry.channels, entry.lfeChannels);
  if (entry.layout == nullptr) return fmt::format("Layout {}  (no name)  {}", entry.key, counts);
  std::string text = fmt::format("Layout {}  \"{}\"  {}  flag {}", entry.key, entry.layout->name,
                                 counts, entry.layout->layoutFlag);
  if (entry.layout->nativeName != nullptr) {
    text += fmt::format("  native name \"{}\"", entry.layout->nativeName);
  }
  return text;
}

std::string layoutText(const Entry& entry) {
  constexpr const char* cRow = "{:>9}  {:<7}  {:>5}  {:>4}  {:>7}  {:>9}  {:>6}\n";
  std::string text = headingText(entry) + "\n\n";
  text +=
      fmt::format(cRow, "channel", "speaker", "order", "kind", "azimuth", "elevation", "native");
  int channel = 0;
  for (const LSS::Speaker& speaker : entry.speakers) {
    text += fmt::format(cRow, channel++, speaker.label, speaker.orderIndex, speaker.speakerId,
                        numberText(speaker.azimuth), numberText(speaker.elevation),
                        speaker.nativeIndex < 0 ? "-" : std::to_string(speaker.nativeIndex));
  }
  return text;
}

json entryJson(const Entry& entry) {
  json result = {{"key", entry.key},           {"name", nullptr},
                 {"channels", entry.channels}, {"lfeChannels", entry.lfeChannels},
                 {"layoutFlag", nullptr},      {"nativeName", nullptr}};
  if (entry.layout == nullptr) return result;
  result["name"] = entry.layout->name;
  result["layoutFlag"] = entry.layout->layoutFlag;
  if (entry.layout->nativeName != nullptr) result["nativeName"] = entry.layout->nativeName;
  return result;
}

json listJson() {
  json layouts = json::array();
  for (const Entry& entry : entries())
    layouts.push_back(entryJson(entry));
  return {{"format", "lipc-layouts"}, {"version", 1}, {"layouts", std::move(layouts)}};
}

json layoutJson(const Entry& entry) {
  json result = {{"format", "lipc-layouts"}, {"version", 1}};
  result.update(entryJson(entry));
  result["speakers"] = json::array();
  for (const LSS::Speaker& speaker : entry.speakers) {
    result["speakers"].push_back({{"label", speaker.label},
                                  {"orderIndex", speaker.orderIndex},
                                  {"speakerId", speaker.speakerId},
                                  {"azimuthDegrees", speaker.azimuth},
                                  {"elevationDegrees", speaker.elevation},
                                  {"nativeIndex", speaker.nativeIndex}});
  }
  return result;
}

LayoutPicture pictureOf(const Entry& entry) {
  std::string subtitle =
      fmt::format("Layout {} \u00b7 {} channel{}, {} LFE", entry.key, entry.channels,
                  entry.channels == 1 ? "" : "s", entry.lfeChannels);
  if (entry.layout == nullptr) return {"(no name)", subtitle, entry.speakers};
  if (entry.layout->nativeName != nullptr)
    subtitle += std::string(" \u00b7 ") + entry.layout->nativeName;
  return {entry.layout->name, subtitle, entry.speakers};
}

void showLayout(const LayoutsOptions& options, bool isDrawn, int& status) {
  const std::vector<Entry> all = entries();
  const auto entry = std::ranges::find_if(
      all, [&](const Entry& each) { return std::to_string(each.key) == options.key; });
  if (entry == all.end()) {
    complain(
        "no speaker layout has the key \"{}\". See which keys there are with: lipc "
        "layouts",
        printable(options.key));
    status = eExitNoLayout;
  } else if (isDrawn && options.svgPath == "-") {
    print(layoutSvg(pictureOf(*entry)));
  } else if (isDrawn) {
    writeWhole(options.svgPath, layoutSvg(pictureOf(*entry)));
  } else if (options.asJson) {
    print(dump(layoutJson(*entry), 2) + "\n");
  } else {
    print(layoutText(*entry));
  }
}

}  // namespace

void addLayoutsCommand(CLI::App& app, int& status) {
  CLI::App* command = app.add_subcommand(
      "layouts", "List the speaker layouts, or show or draw one. Needs no session.");
  const auto options = std::make_shared<LayoutsOptions>();
  CLI::Option* const key = command->add_option("KEY", options->key, "The layout's key, a number");
  CLI::Option* const asJson = command->add_flag("--json", options->asJson, "Print one JSON object");
  CLI::Option* const svg = command->add_option("--svg", options->svgPath,
                                               "Draw the layout of KEY into this SVG file, "
                                               "or to standard output: -");
  svg->type_name("FILE")->excludes(asJson);
  command->footer("Example:\n  lipc layouts 14 --svg layout-14.svg");
  command->callback([options, key, svg, &status] {
    if (key->count() > 0) {
      showLayout(*options, svg->count() > 0, status);
    } else if (svg->count() > 0) {
      complain(
          "--svg draws one layout: give its key, for example: lipc layouts 14 --svg layout.svg");
      status = eExitUsage;
    } else if (options->asJson) {
      print(dump(listJson(), 2) + "\n");
    } else {
      print(listText());
    }
  });
}

}  // namespace tools
