#pragma once

#include <string>
#include <string_view>

#include "tools/LabelPlacement.h"

/// What the pictures of the speaker layouts are made of: the style sheet, and elements of SVG, a
/// line each.
namespace tools {

/// The <style> element: it has the classes that the other functions are given.
extern const char cLayoutStyle[];
constexpr double cHead = 11;  // radius of the listener's head

/// Text for an element or an attribute; what is not printable is escaped twice.
std::string escaped(std::string_view text);
/// "30°", with a true minus.
std::string degreesText(float angle);
/// 0 degrees is to the right, 90 up.
Point polar(const Point& centre, double radius, double degrees);
Box around(const Point& point, double halfWidth, double halfHeight);

std::string textAt(std::string_view style, const Point& point, std::string_view text);
std::string circleText(std::string_view style, const Point& centre, double radius);
/// The listener; the nose says where the front is.
std::string headText(const Point& centre, double frontDegrees);

}  // namespace tools
