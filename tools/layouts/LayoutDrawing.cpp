// SPDX-License-Identifier: BSL-1.0
#include "tools/layouts/LayoutDrawing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <map>
#include <numbers>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/core.h>

#include "tools/Text.h"
#include "tools/layouts/LabelPlacement.h"
#include "tools/layouts/LayoutShapes.h"

namespace tools {
namespace {

// Everything is in units of the drawing.
constexpr double cWidth = 1000, cHeight = 660;
constexpr Point cRingCentre = {284, 388};
constexpr double cRingRadius = 176;  // of the outermost ring
constexpr double cScaleRadius = cRingRadius + 50;
constexpr Box cRingBounds = {20, 134, 548, 646};
constexpr Point cSideCentre = {768, 352};
constexpr double cSideRadius = 185;
constexpr Box cSideBounds = {552, 126, 984, 496};
constexpr double cLegendLeft = 576, cLegendTop = 520, cLegendRow = 23, cLfeLeft = 840;
constexpr double cMark = 7;  // half a speaker's mark

/// The height layers, from below.
struct Layer {
  const char* style;
  const char* name;
};
constexpr std::array<Layer, 4> cLayers = {
    {{"bottom", "Bottom"}, {"ear", "Ear height"}, {"upper", "Upper"}, {"top", "Top"}}};

std::size_t layerOf(float elevation) {
  if (elevation < 0) return 0;
  if (elevation == 0) return 1;
  return elevation < 45 ? 2 : 3;
}

/// LFE, LFE1, LFE2.
bool isLFE(const LSS::Speaker& speaker) {
  return speaker.speakerId == 8 || speaker.speakerId == 31 || speaker.speakerId == 32;
}

/// No font is asked: what the widest of the usual ones takes for it, in bold.
double widthOf(std::string_view text) {
  double ems = 0;
  for (const char each : text) {
    if (std::string_view("fijlrt()., ").find(each) != std::string_view::npos)
      ems += 0.42;
    else if (std::string_view("MWmw").find(each) != std::string_view::npos)
      ems += 0.93;
    else
      ems += each >= 'A' && each <= 'Z' ? 0.76 : 0.68;
  }
  return ems * 11 + 4;
}

/// The speakers that stand at one place of a view.
struct Spot {
  Point at;
  float azimuth;
  float elevation;
  std::string label;
  std::set<std::pair<float, float>> directions = {};
  int count = 0;

  const char* style() const { return cLayers[layerOf(elevation)].style; }
  /// Speakers that nothing tells apart but their label.
  bool isShared() const { return count > static_cast<int>(directions.size()); }
};

template <class Place>
std::vector<Spot> spotsOf(std::span<const LSS::Speaker> speakers, const Place& place) {
  std::vector<Spot> spots;
  for (const LSS::Speaker& speaker : speakers) {
    if (isLFE(speaker)) continue;
    const Point at = place(speaker);
    auto spot = std::ranges::find_if(
        spots, [&](const Spot& each) { return each.at.x == at.x && each.at.y == at.y; });
    if (spot == spots.end()) {
      spots.push_back({at, speaker.azimuth, speaker.elevation, speaker.label});
      spot = spots.end() - 1;
    } else {
      spot->label += std::string(" \u00b7 ") + speaker.label;
    }
    spot->directions.emplace(speaker.azimuth, speaker.elevation);
    ++spot->count;
  }
  return spots;
}

/// The spots' labels, and lines to those that stand far off. `directions` are where they want to
/// stand, one a spot; `obstacles` is what else is drawn.
std::string labelsText(const std::vector<Spot>& spots, const std::vector<double>& directions,
                       std::vector<Box> obstacles, const Box& bounds) {
  std::vector<Label> labels;
  for (std::size_t i = 0; i < spots.size(); ++i) {
    labels.push_back({spots[i].at, directions[i], widthOf(spots[i].label)});
    obstacles.push_back(around(spots[i].at, cMark, cMark));
  }
  placeLabels(labels, obstacles, bounds);
  std::string lines, texts;
  for (std::size_t i = 0; i < spots.size(); ++i) {
    const Label& label = labels[i];
    if (label.hasLine) {
      lines += fmt::format("<path class=\"leader {}\" d=\"M{} {}L{} {}\"/>\n", spots[i].style(),
                           label.anchor.x, label.anchor.y, label.lineEnd.x, label.lineEnd.y);
    }
    texts += textAt(fmt::format("label {}", spots[i].style()), {label.centre.x, label.centre.y + 4},
                    spots[i].label);
  }
  return lines + texts;
}

std::set<float> elevationsOf(std::span<const LSS::Speaker> speakers) {
  std::set<float> elevations = {0};
  for (const LSS::Speaker& speaker : speakers)
    if (!isLFE(speaker)) elevations.insert(speaker.elevation);
  return elevations;
}

/// The scale around the rings: a tick every ten degrees, and the azimuths of the speakers.
std::string scaleText(const std::vector<Spot>& spots, std::vector<Box>& obstacles) {
  std::string ticks, numbers;
  std::set<float> azimuths;
  for (const Spot& spot : spots)
    if (spot.elevation < 90) azimuths.insert(spot.azimuth);
  for (int azimuth = -170; azimuth <= 180; azimuth += 10) {
    const bool isTaken = azimuths.contains(static_cast<float>(azimuth));
    const Point from = polar(cRingCentre, cScaleRadius - (isTaken ? 4 : 0), 90 + azimuth);
    const Point to = polar(cRingCentre, cScaleRadius + 4, 90 + azimuth);
    ticks += fmt::format("M{} {}L{} {}", from.x, from.y, to.x, to.y);
  }
  for (const float azimuth : azimuths) {
    const Point at = polar(cRingCentre, cScaleRadius + 18, 90 + static_cast<double>(azimuth));
    obstacles.push_back(around(at, 14, 7));
    numbers += textAt("angle", {at.x, at.y + 3.5}, degreesText(azimuth));
  }
  return fmt::format("<path class=\"line\" d=\"{}\"/>\n", ticks) + numbers;
}

/// A loudspeaker that faces the listener; one right above shows its round back.
std::string markText(const Spot& spot) {
  const std::string style = fmt::format("mark {}", spot.style());
  std::string text = spot.elevation >= 90
                         ? circleText(style, spot.at, 5)
                         : fmt::format(
                               "<path class=\"{}\" transform=\"translate({} {}) rotate({})\" "
                               "d=\"M-3-6h6v5l4 6h-14l4-6z\"/>\n",
                               style, spot.at.x, spot.at.y, 0 - spot.azimuth);
  if (spot.isShared()) text += circleText(fmt::format("leader {}", spot.style()), spot.at, 10);
  return text;
}

std::string fromAboveText(std::span<const LSS::Speaker> speakers) {
  const std::set<float> elevations = elevationsOf(speakers);
  const auto radiusOf = [&](float elevation) {
    return cRingRadius * (90 - static_cast<double>(elevation)) /
           (90 - static_cast<double>(*elevations.begin()));
  };
  const std::vector<Spot> spots = spotsOf(speakers, [&](const LSS::Speaker& speaker) {
    return polar(cRingCentre, radiusOf(speaker.elevation),
                 90 + static_cast<double>(speaker.azimuth));
  });
  std::string rings, captions, marks;
  std::vector<Box> obstacles = {around(cRingCentre, cHead - 1, cHead - 1)};
  for (const float elevation : elevations) {
    if (elevation >= 90) continue;
    rings += circleText("line", cRingCentre, radiusOf(elevation));
    // No layout has a speaker in this direction.
    const Point at = polar(cRingCentre, radiusOf(elevation), -40);
    captions += textAt("angle", {at.x, at.y + 3.5}, degreesText(elevation));
    obstacles.push_back(around(at, 13, 7));
  }
  std::vector<double> directions;
  for (const Spot& spot : spots) {
    marks += markText(spot);
    // The nose is above.
    directions.push_back(spot.elevation < 90 ? 90 + static_cast<double>(spot.azimuth) : -90);
  }
  const std::string scale = scaleText(spots, obstacles);
  std::string note;
  for (const Spot& spot : spots)
    if (spot.isShared()) note = textAt("small", {32, 632}, spot.label + " share one direction");
  return note + textAt("heading", {32, 116}, "FROM ABOVE") +
         textAt("heading middle", {cRingCentre.x, 130}, "FRONT") + rings + scale + captions +
         headText(cRingCentre, 90) + labelsText(spots, directions, obstacles, cRingBounds) + marks;
}

/// The listener looks to the left.
std::string fromTheSideText(std::span<const LSS::Speaker> speakers) {
  const std::vector<Spot> spots = spotsOf(speakers, [](const LSS::Speaker& speaker) {
    const Point height = polar(cSideCentre, cSideRadius, static_cast<double>(speaker.elevation));
    const Point depth =
        polar(cSideCentre, height.x - cSideCentre.x, 180 + static_cast<double>(speaker.azimuth));
    return Point{depth.x, height.y};
  });
  const std::set<float> elevations = elevationsOf(speakers);
  const double lowest = static_cast<double>(*elevations.begin());
  const Point front = polar(cSideCentre, cSideRadius, 180 - lowest);
  const Point back = polar(cSideCentre, cSideRadius, lowest);
  std::string lines =
      fmt::format("<path class=\"line\" d=\"M{} {}A{} {} 0 {} 1 {} {}\"/>\n", front.x, front.y,
                  cSideRadius, cSideRadius, lowest < 0 ? 1 : 0, back.x, back.y);
  std::string captions, marks;
  std::vector<Box> obstacles = {around(cSideCentre, cHead - 1, cHead - 1)};
  for (const float elevation : elevations) {
    const Point end = polar(cSideCentre, cSideRadius, static_cast<double>(elevation));
    const Point at = polar(cSideCentre, cSideRadius + (elevation < 90 ? 18 : -18),
                           static_cast<double>(elevation));
    lines += fmt::format("<path class=\"line\" d=\"M{} {}H{}\"/>\n", end.x, end.y,
                         rounded(2 * cSideCentre.x - end.x));
    obstacles.push_back(around({cSideCentre.x, end.y}, end.x - cSideCentre.x + cMark, 1));
    captions += textAt("angle", {at.x, at.y + 3.5}, degreesText(elevation));
    obstacles.push_back(around(at, 13, 7));
  }
  std::vector<double> directions;
  for (const Spot& spot : spots) {
    marks += circleText(fmt::format("mark {}", spot.style()), spot.at, 4.5);
    directions.push_back(spot.elevation > 0 ? 90 : -90);
  }
  return textAt("heading", {cLegendLeft, 116}, "FROM THE LEFT") + lines + captions +
         headText(cSideCentre, 180) + labelsText(spots, directions, obstacles, cSideBounds) + marks;
}

/// Which tone is which height, what has no direction, and what the rings cannot show.
std::string legendText(std::span<const LSS::Speaker> speakers) {
  std::map<std::size_t, std::pair<int, std::set<float>>, std::greater<>> layers;
  std::string lfe;
  double lfeRow = cLegendTop + cLegendRow;
  for (const LSS::Speaker& speaker : speakers) {
    if (isLFE(speaker)) {
      lfe += fmt::format(
                 "<rect class=\"mark lfe\" x=\"{}\" y=\"{}\" width=\"10\" height=\"10\" "
                 "rx=\"1.5\"/>\n",
                 cLfeLeft, lfeRow - 9) +
             textAt("small", {cLfeLeft + 20, lfeRow}, speaker.label);
      lfeRow += cLegendRow;
    } else {
      auto& [count, elevations] = layers[layerOf(speaker.elevation)];
      ++count;
      elevations.insert(speaker.elevation);
    }
  }
  if (!lfe.empty()) lfe = textAt("heading", {cLfeLeft, cLegendTop}, "NO DIRECTION") + lfe;
  std::string text = textAt("heading", {cLegendLeft, cLegendTop}, "HEIGHT");
  double row = cLegendTop + cLegendRow;
  for (const auto& [layer, found] : layers) {
    std::string angles;
    for (const float elevation : found.second)
      angles += (angles.empty() ? "" : ", ") + degreesText(elevation);
    text +=
        circleText(fmt::format("mark {}", cLayers[layer].style), {cLegendLeft + 5, row - 4}, 4.5) +
        textAt("small", {cLegendLeft + 20, row}, cLayers[layer].name) +
        textAt("small", {cLegendLeft + 96, row}, angles) +
        textAt("small", {cLegendLeft + 156, row}, countText(found.first, "speaker"));
    row += cLegendRow;
  }
  return text + lfe;
}

}  // namespace

std::string layoutSvg(const LayoutPicture& picture) {
  std::string labels;
  for (const LSS::Speaker& speaker : picture.speakers)
    labels += (labels.empty() ? "" : ", ") + escaped(speaker.label);
  std::string text = fmt::format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0} {1}\" width=\"{0}\" "
      "height=\"{1}\" role=\"img\">\n<title>{2}</title>\n<desc>{3}. Speakers: {4}</desc>\n",
      cWidth, cHeight, escaped(picture.title), escaped(picture.subtitle), labels);
  text += cLayoutStyle;
  text += fmt::format(
      "<rect class=\"card\" x=\"0.5\" y=\"0.5\" width=\"{}\" height=\"{}\" rx=\"10\"/>\n",
      cWidth - 1, cHeight - 1);
  text += textAt("title", {32, 52}, picture.title) + textAt("small", {32, 74}, picture.subtitle);
  text += fromAboveText(picture.speakers) + fromTheSideText(picture.speakers) +
          legendText(picture.speakers);
  return text + "</svg>\n";
}

}  // namespace tools
