#include "tools/Columns.h"

#include <algorithm>

namespace tools {
namespace {

constexpr std::size_t cGap = 2;

void trimEnd(std::string& line) {
  line.erase(line.find_last_not_of(' ') + 1);
}

}  // namespace

Columns::Columns(std::vector<std::string> heads) : mHeads(std::move(heads)) {
  for (std::string& head : mHeads) {
    mIsRight.push_back(head.starts_with('>'));
    if (mIsRight.back()) head.erase(0, 1);
  }
}

std::vector<std::size_t> Columns::widths() const {
  std::vector<std::size_t> widths(mHeads.size(), 0);
  for (std::size_t i = 0; i < widths.size(); ++i) {
    for (const auto& row : mRows)
      widths[i] = std::max(widths[i], columnsOf(row[i].text));
    if (widths[i] != 0) widths[i] = std::max(widths[i], columnsOf(mHeads[i]));
  }
  return widths;
}

std::string Columns::text(const Style& style, std::size_t indent) const {
  const std::vector<std::size_t> wide = widths();
  std::string all;
  const auto addLine = [&](const std::vector<Cell>& row) {
    std::string line(indent, ' ');
    std::size_t used = indent;
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (wide[i] == 0) continue;
      std::size_t width = wide[i];
      const bool isLast = i + 1 == row.size();
      if (isLast && !mIsRight[i] && used < style.columns())
        width = std::min<std::size_t>(width, style.columns() - used);
      std::string words = cut(row[i].text, width);
      const std::string blanks(width - columnsOf(words), ' ');
      if (row[i].colour) words = style(*row[i].colour, words);
      line += mIsRight[i] ? blanks + words : words + (isLast ? "" : blanks);
      if (!isLast) line.append(cGap, ' ');
      used += width + cGap;
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
