// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

#include "tools/top/TopLine.h"
#include "tools/top/TopModel.h"

/// The rows of lipc top as a table.
namespace tools {

enum class eTopColumn {
  eIndex,
  eID,
  eName,
  eType,
  eLife,
  eBlocks,
  eQueue,
  eMissing,
  eLate,
  eLevel,
  eMeters,  // not one to sort by
};

struct TopOrder {
  eTopColumn column = eTopColumn::eIndex;
  bool isReversed = false;

  /// The next column, in its own order.
  void advance();
  std::string text() const;  // "by name"
};

/// Texts and the index upwards; numbers and levels from the highest down; gone, unknown and stale
/// clients before the living. Equals by index.
void sortRows(std::vector<TopRow>& rows, TopOrder order, bool ofReturns);

struct TopShow {
  bool ofReturns = false;  // levels of the "-return" rings
  bool isUTF8 = false;     // the terminal's locale
};

/// Fits itself into a width: texts are cut, then columns are left out. What is left of the width
/// goes to the meters.
class TopTable {
 public:
  /// `isWhole`: cuts nothing, and is wider instead.
  TopTable(const std::vector<TopRow>& rows, int width, TopShow show, bool isWhole = false);

  TopLine head(eTopColumn sortedBy) const;
  TopLine line(const TopRow& row) const;

 private:
  struct Column {
    eTopColumn column;
    int width;
  };

  int* widthOf(eTopColumn column);
  int width() const;
  void fit(int width);

  TopShow mShow;
  std::vector<Column> mColumns;
};

std::string lifeText(TopRow::eLife life);
/// In 6 columns; "-" where it is not known.
std::string rateText(const std::optional<double>& perSecond);

}  // namespace tools
