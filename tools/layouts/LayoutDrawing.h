// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <span>
#include <string>

#include "tables/SpeakerLayouts.h"

namespace tools {

struct LayoutPicture {
  std::string title;
  std::string subtitle;
  std::span<const LSS::Speaker> speakers;
};

/// One layout as an SVG document: its speakers from above, and beside it from the left. The same
/// speakers make the same bytes on every machine.
///
/// From above the listener is in the middle and looks up the page; the distance from the middle is
/// the angle from straight up, so that each elevation has a ring of its own and speakers that share
/// no direction share no place. From the left it is as one sees it from far away: a speaker and its
/// mirror image on the other side are one.
std::string layoutSvg(const LayoutPicture& picture);

}  // namespace tools
