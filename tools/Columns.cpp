// SPDX-License-Identifier: BSL-1.0
#include "tools/Columns.h"

#include <algorithm>

namespace tools {
namespace {

constexpr std::size_t cGap = 2;
constexpr std::size_t cLeastWidth = 8;

void trimEnd(std::string& line) {
  line.erase(line.find_last_not_of(' ') + 1);
}

}  // namespace

Columns::Columns(std::vector<std::string> heads) : mHeads(std::move(heads)) {
  for (std::string& head : mHeads) {
    mIsRight.push_back(head.starts_with('>'));
    mIsCut.push_back(head.starts_with('~'));
    if (mIsRight.back() || mIsCut.back()) head.erase(0, 1);
  }
}

std::vector<std::size_t> Columns::widths(std::size_t most) const {
  std::vector<std::size_t> widths(mHeads.size(), 0);
  for (std::size_t i = 0; i < widths.size(); ++i) {
    for (const auto& row : mRows)
      widths[i] = std::max(widths[i], columnsOf(row[i].text));
    if (widths[i] != 0) widths[i] = std::max(widths[i], columnsOf(mHeads[i]));
  }
  std::size_t used = 0;
  for (const std::size_t width : widths)
    used += width == 0 ? 0 : width + (used == 0 ? 0 : cGap);
  for (; used > most; --used) {
    std::size_t* widest = nullptr;
    for (std::size_t i = 0; i < widths.size(); ++i)
      if (mIsCut[i] && widths[i] > cLeastWidth && (widest == nullptr || widths[i] > *widest))
        widest = &widths[i];
    if (widest == nullptr) break;
    --*widest;
  }
  return widths;
}

std::string Columns::text(const Style& style, std::size_t indent) const {
  const std::vector<std::size_t> wide =
      widths(style.columns() > indent ? style.columns() - indent : 0);
  std::string all;
  const auto addLine = [&](const std::vector<Cell>& row) {
    std::string line(indent, ' ');
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (wide[i] == 0) continue;
      const bool isLast = i + 1 == row.size();
      std::string words = cut(row[i].text, wide[i]);
      const std::string blanks(wide[i] - columnsOf(words), ' ');
      if (row[i].colour) words = style(*row[i].colour, words);
      line += mIsRight[i] ? blanks + words : words + (isLast ? "" : blanks);
      if (!isLast) line.append(cGap, ' ');
    }
    trimEnd(line);
    all += line + "\n";
  };
  std::vector<Cell> heads;
  for (const std::string& head : mHeads)
    heads.emplace_back(head, eColour::eFaint);
  addLine(heads);
  for (const auto& row : mRows)
    addLine(row);
  return all;
}

}  // namespace tools
