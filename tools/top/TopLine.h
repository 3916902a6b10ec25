// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Lines as lipc top shows them, on a screen or as plain text.
namespace tools {

enum class eTopStyle { ePlain, eDim, eBold, eGreen, eYellow, eRed };

struct TopSpan {
  std::string text;  // printable, and without a line feed
  eTopStyle style = eTopStyle::ePlain;
};

struct TopLine {
  std::vector<TopSpan> spans;
  bool isSelected = false;

  TopLine() = default;
  TopLine(std::string text, eTopStyle style = eTopStyle::ePlain) { add(std::move(text), style); }

  TopLine& add(std::string text, eTopStyle style = eTopStyle::ePlain) {
    if (!spans.empty() && spans.back().style == style)
      spans.back().text += text;
    else
      spans.push_back({std::move(text), style});
    return *this;
  }
  TopLine& add(const TopLine& line) {
    for (const TopSpan& span : line.spans)
      add(span.text, span.style);
    return *this;
  }
  /// Without styles, and without spaces at the end.
  std::string text() const;
};

/// Cut or filled up to so many columns. Without `isUTF8` each character that is no ASCII becomes a
/// question mark.
std::string fitted(std::string_view text, int columns, bool isUTF8, bool alignsRight = false);

}  // namespace tools
