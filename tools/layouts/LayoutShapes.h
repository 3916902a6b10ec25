// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>

#include "tools/Svg.h"

/// What the pictures of the speaker layouts are made of: the style sheet and some of its elements.
namespace tools {

/// The <style> element: it has the classes that the other functions are given.
extern const char cLayoutStyle[];
constexpr double cHead = 11;  // radius of the listener's head

/// "30°", with a true minus.
std::string degreesText(float angle);
/// 0 degrees is to the right, 90 up.
Point polar(const Point& centre, double radius, double degrees);
/// The listener; the nose says where the front is.
std::string headText(const Point& centre, double frontDegrees);

}  // namespace tools
