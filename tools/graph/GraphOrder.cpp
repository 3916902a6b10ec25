// SPDX-License-Identifier: BSL-1.0
#include "tools/graph/GraphOrder.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "tools/graph/GraphLayout.h"

namespace tools {
namespace {

using Cell = GraphCell;
using Indices = GraphIndices;

constexpr int cOrderSweeps = 12;

class Ordering {
 public:
  Ordering(const std::vector<Cell>& cells, std::vector<Indices>& columns)
      : mCells(cells), mColumns(columns) {}

  void run() {
    std::vector<Indices> best = mColumns;
    std::size_t fewest = crossings();
    std::vector<double> places(mCells.size());
    for (const Indices& column : mColumns)
      rank(column, places);
    for (int sweep = 0; sweep < cOrderSweeps && fewest > 0; ++sweep) {
      for (std::size_t i = 1; i < mColumns.size(); ++i)
        sortBy(mColumns[i], &Cell::before, places);
      for (std::size_t i = mColumns.size() - 1; i-- > 0;)
        sortBy(mColumns[i], &Cell::after, places);
      const std::size_t count = crossings();
      if (count >= fewest) continue;
      fewest = count;
      best = mColumns;
    }
    mColumns = best;
  }

 private:
  /// Each cell to the mean place of its neighbours on one side.
  void sortBy(Indices& column, Indices Cell::*neighbours, std::vector<double>& places) {
    std::vector<std::pair<double, int>> wishes;
    for (const int cell : column) {
      const Indices& all = mCells[at(cell)].*neighbours;
      double sum = 0;
      for (const int each : all)
        sum += places[at(each)];
      wishes.emplace_back(all.empty() ? places[at(cell)] : sum / static_cast<double>(all.size()),
                          cell);
    }
    std::stable_sort(wishes.begin(), wishes.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (std::size_t i = 0; i < wishes.size(); ++i)
      column[i] = wishes[i].second;
    rank(column, places);
  }

  /// Stores the cells' places in their column, 0 to 1.
  void rank(const Indices& column, std::vector<double>& places) const {
    for (std::size_t i = 0; i < column.size(); ++i)
      places[at(column[i])] = (static_cast<double>(i) + 0.5) / static_cast<double>(column.size());
  }

  /// Between all neighbouring columns: pairs of lines that are the other way round at their ends,
  /// counted with a tree of partial sums.
  std::size_t crossings() const {
    std::vector<std::size_t> rank(mCells.size());
    for (const Indices& column : mColumns)
      for (std::size_t i = 0; i < column.size(); ++i)
        rank[at(column[i])] = i;
    std::size_t count = 0;
    for (std::size_t c = 0; c + 1 < mColumns.size(); ++c) {
      std::vector<std::size_t> tree(mColumns[c + 1].size() + 1);
      std::size_t seen = 0;
      for (const int cell : mColumns[c]) {
        std::vector<std::size_t> ends;
        for (const int end : mCells[at(cell)].after)
          ends.push_back(rank[at(end)]);
        for (const std::size_t end : ends) {
          std::size_t notBelow = 0;
          for (std::size_t i = end + 1; i > 0; i &= i - 1)
            notBelow += tree[i];
          count += seen - notBelow;
        }
        for (const std::size_t end : ends)
          for (std::size_t i = end + 1; i < tree.size(); i += i & (~i + 1))
            ++tree[i];
        seen += ends.size();
      }
    }
    return count;
  }

  const std::vector<Cell>& mCells;
  std::vector<Indices>& mColumns;
};

}  // namespace

void orderGraph(const std::vector<GraphCell>& cells, std::vector<GraphIndices>& columns) {
  Ordering(cells, columns).run();
}

}  // namespace tools
