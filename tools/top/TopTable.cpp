// SPDX-License-Identifier: BSL-1.0
#include "tools/top/TopTable.h"

#include <algorithm>

#include <fmt/core.h>

#include "tools/Terminal.h"
#include "tools/Text.h"
#include "tools/top/TopMeters.h"

namespace tools {
namespace {

constexpr int cLongestText = 24;
constexpr int cShortestText = 8;
constexpr int cNarrowestMeters = 8;

struct Title {
  const char* head;
  const char* word;  // after "by"
  bool alignsRight;
};

Title titleOf(eTopColumn column, bool ofReturns) {
  switch (column) {
    case eTopColumn::eIndex:
      return {"#", "row", true};
    case eTopColumn::eID:
      return {"ID", "ID", false};
    case eTopColumn::eName:
      return {"NAME", "name", false};
    case eTopColumn::eType:
      return {"TYPE", "type", false};
    case eTopColumn::eLife:
      return {"LIFE", "life", false};
    case eTopColumn::eBlocks:
      return {"BLK/S", "blocks a second", true};
    case eTopColumn::eQueue:
      return {"/63", "queue", true};
    case eTopColumn::eMissing:
      return {"MISS", "missing answers", true};
    case eTopColumn::eLate:
      return {"LATE", "late answers", true};
    case eTopColumn::eLevel:
      return {"PEAK", "level", true};
    case eTopColumn::eMeters:
      break;
  }
  return {ofReturns ? "RETURNS" : "SENDS", "", false};
}

bool isHighestFirst(eTopColumn column) {
  return column >= eTopColumn::eLife;
}

double numberOf(const TopRow& row, eTopColumn column, bool ofReturns) {
  switch (column) {
    case eTopColumn::eLife:
      return row.life;
    case eTopColumn::eBlocks:
      return row.blocksPerSecond.value_or(-1);
    case eTopColumn::eQueue:
      return row.blocksWaiting() ? *row.blocksWaiting() : -1.0;
    case eTopColumn::eMissing:
      return row.answers ? static_cast<double>(row.answers->missing) : -1.0;
    case eTopColumn::eLate:
      return row.answers ? static_cast<double>(row.answers->late) : -1.0;
    case eTopColumn::eLevel:
      return row.heldDB(ofReturns);
    default:
      return row.client.index;
  }
}

std::string textOf(const TopRow& row, eTopColumn column) {
  switch (column) {
    case eTopColumn::eID:
      return row.client.id;
    case eTopColumn::eName:
      return row.client.name;
    case eTopColumn::eType:
      return typeText(row.client.type);
    default:
      return {};
  }
}

std::string countText(std::uint64_t count) {
  return count < 100'000      ? fmt::format("{}", count)
         : count < 10'000'000 ? fmt::format("{}k", count / 1000)
                              : fmt::format("{}M", count / 1'000'000);
}

std::string cellOf(const TopRow& row, eTopColumn column, bool ofReturns) {
  const std::string none = "-";
  switch (column) {
    case eTopColumn::eIndex:
      return fmt::format("{}", row.client.index);
    case eTopColumn::eLife:
      return lifeText(row.life);
    case eTopColumn::eBlocks:
      return rateText(row.blocksPerSecond);
    case eTopColumn::eQueue:
      return row.blocksWaiting() ? fmt::format("{}", *row.blocksWaiting()) : none;
    case eTopColumn::eMissing:
      return row.answers ? countText(row.answers->missing) : none;
    case eTopColumn::eLate:
      return row.answers ? countText(row.answers->late) : none;
    case eTopColumn::eLevel:
      return row.meters(ofReturns).empty() ? none : dBText(row.heldDB(ofReturns));
    default:
      return printable(textOf(row, column));
  }
}

eTopStyle styleOf(const TopRow& row, eTopColumn column) {
  if (row.life == TopRow::eGone) return eTopStyle::eDim;
  if (column == eTopColumn::eLife) {
    return row.life == TopRow::eAlive ? eTopStyle::eGreen : eTopStyle::eYellow;
  }
  const bool isBad = (column == eTopColumn::eMissing && row.answers && row.answers->missing > 0) ||
                     (column == eTopColumn::eLate && row.answers && row.answers->late > 0);
  return isBad ? eTopStyle::eYellow : eTopStyle::ePlain;
}

/// As wide as the longest of them.
int longest(const std::vector<TopRow>& rows, eTopColumn column, bool ofReturns) {
  std::size_t columns = columnsOf(titleOf(column, ofReturns).head);
  for (const TopRow& row : rows)
    columns = std::max(columns, columnsOf(cellOf(row, column, ofReturns)));
  return static_cast<int>(columns);
}

int mostChannels(const std::vector<TopRow>& rows, bool ofReturns) {
  std::size_t most = 0;
  for (const TopRow& row : rows)
    most = std::max(most, row.meters(ofReturns).size());
  return static_cast<int>(std::min<std::size_t>(most, 64));
}

}  // namespace

std::string lifeText(TopRow::eLife life) {
  const char* const words[] = {"alive", "stale", "unknown", "gone"};
  return words[life];
}

std::string rateText(const std::optional<double>& perSecond) {
  if (!perSecond) return "-";
  if (*perSecond < 9999.5) return fmt::format("{:.1f}", *perSecond);
  return *perSecond < 999'999 ? fmt::format("{:.0f}", *perSecond)
                              : fmt::format("{:.0e}", *perSecond);
}

void TopOrder::advance() {
  const int next = static_cast<int>(column) + 1;
  column = static_cast<eTopColumn>(next % static_cast<int>(eTopColumn::eMeters));
  isReversed = false;
}

std::string TopOrder::text() const {
  return fmt::format("by {}{}", titleOf(column, false).word, isReversed ? ", reversed" : "");
}

void sortRows(std::vector<TopRow>& rows, TopOrder order, bool ofReturns) {
  const auto isBefore = [&](const TopRow& a, const TopRow& b) {
    const std::string aText = textOf(a, order.column);
    const std::string bText = textOf(b, order.column);
    if (aText != bText) return aText < bText;
    const double aNumber = numberOf(a, order.column, ofReturns);
    const double bNumber = numberOf(b, order.column, ofReturns);
    if (aNumber == bNumber) return a.client.index < b.client.index;
    return isHighestFirst(order.column) ? aNumber > bNumber : aNumber < bNumber;
  };
  std::sort(rows.begin(), rows.end(), [&](const TopRow& a, const TopRow& b) {
    return order.isReversed ? isBefore(b, a) : isBefore(a, b);
  });
}

TopTable::TopTable(const std::vector<TopRow>& rows, int width, TopShow show, bool isWhole)
    : mShow(show) {
  const auto needed = [&](eTopColumn column, int atMost) {
    const int columns = longest(rows, column, show.ofReturns);
    return isWhole ? columns : std::min(columns, atMost);
  };
  mColumns = {{eTopColumn::eIndex, needed(eTopColumn::eIndex, 4)},
              {eTopColumn::eID, needed(eTopColumn::eID, cLongestText)},
              {eTopColumn::eName, needed(eTopColumn::eName, cLongestText)},
              {eTopColumn::eType, needed(eTopColumn::eType, 4)},
              {eTopColumn::eLife, needed(eTopColumn::eLife, 7)},
              {eTopColumn::eBlocks, 6},
              {eTopColumn::eQueue, 3},
              {eTopColumn::eMissing, 5},
              {eTopColumn::eLate, 5},
              {eTopColumn::eLevel, 6},
              {eTopColumn::eMeters, std::clamp(mostChannels(rows, show.ofReturns),
                                               2 * cNarrowestMeters, 8 * cNarrowestMeters)}};
  if (!isWhole) fit(width);
  *widthOf(eTopColumn::eMeters) += std::max(width - this->width(), 0);
}

int* TopTable::widthOf(eTopColumn column) {
  for (Column& each : mColumns)
    if (each.column == column) return &each.width;
  return nullptr;
}

int TopTable::width() const {
  int all = static_cast<int>(mColumns.size()) - 1;  // the gaps
  for (const Column& column : mColumns)
    all += column.width;
  return all;
}

void TopTable::fit(int width) {
  const auto shrink = [&](eTopColumn column, int atLeast) {
    int* columns = widthOf(column);
    const int tooWide = this->width() - width;
    if (columns == nullptr || tooWide <= 0 || *columns <= atLeast) return;
    *columns = std::max(*columns - tooWide, atLeast);
  };
  shrink(eTopColumn::eMeters, 2 * cNarrowestMeters);
  shrink(eTopColumn::eName, cShortestText);
  shrink(eTopColumn::eID, cShortestText);
  shrink(eTopColumn::eMeters, cNarrowestMeters);
  for (const eTopColumn least :
       {eTopColumn::eName, eTopColumn::eType, eTopColumn::eLate, eTopColumn::eMissing,
        eTopColumn::eQueue, eTopColumn::eBlocks, eTopColumn::eLife, eTopColumn::eIndex}) {
    if (this->width() <= width) return;
    std::erase_if(mColumns, [&](const Column& column) { return column.column == least; });
  }
  shrink(eTopColumn::eMeters, 1);
  shrink(eTopColumn::eID, 1);
}

TopLine TopTable::head(eTopColumn sortedBy) const {
  TopLine line;
  for (const auto& [column, width] : mColumns) {
    const Title title = titleOf(column, mShow.ofReturns);
    if (!line.spans.empty()) line.add(" ", eTopStyle::eDim);
    line.add(fitted(title.head, width, mShow.isUTF8, title.alignsRight),
             column == sortedBy ? eTopStyle::eBold : eTopStyle::eDim);
  }
  return line;
}

TopLine TopTable::line(const TopRow& row) const {
  TopLine line;
  for (const auto& [column, width] : mColumns) {
    if (!line.spans.empty()) line.add(" ");
    if (column == eTopColumn::eMeters) {
      line.add(meterBars(row.meters(mShow.ofReturns), width, mShow.isUTF8));
      continue;
    }
    const Title title = titleOf(column, mShow.ofReturns);
    line.add(fitted(cellOf(row, column, mShow.ofReturns), width, mShow.isUTF8, title.alignsRight),
             styleOf(row, column));
  }
  return line;
}

}  // namespace tools
