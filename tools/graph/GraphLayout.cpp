// SPDX-License-Identifier: BSL-1.0
#include "tools/graph/GraphLayout.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>

#include "tools/graph/GraphOrder.h"

namespace tools {
namespace {

using Cell = GraphCell;
using Indices = GraphIndices;

constexpr int cSweeps = 12;
/// Places of lines in columns between their ends; a line that has none is drawn straight.
constexpr std::size_t cMostPlaces = 20'000;

class Placing {
 public:
  Placing(std::vector<GraphBox>& boxes, std::vector<GraphLine>& lines, const GraphSpacing& spacing)
      : mBoxes(boxes), mLines(lines), mSpacing(spacing) {}

  GraphPlaces run() {
    breakCycles();
    assignColumns();
    makeCells();
    orderGraph(mCells, mColumns);
    placeRows();
    return finish();
  }

 private:
  /// A line to a box that is just being walked closes a cycle.
  void breakCycles() {
    std::vector<Indices> outgoing(mBoxes.size());
    std::vector<int> incoming(mBoxes.size());
    for (std::size_t i = 0; i < mLines.size(); ++i) {
      outgoing[at(mLines[i].from)].push_back(static_cast<int>(i));
      if (mLines[i].from != mLines[i].to) ++incoming[at(mLines[i].to)];
    }
    enum eState : char { eNew, eOpen, eDone };
    std::vector<eState> states(mBoxes.size(), eNew);
    const auto walk = [&](std::size_t root) {
      std::vector<std::pair<std::size_t, std::size_t>> path{{root, 0}};
      states[root] = eOpen;
      while (!path.empty()) {
        auto& [box, next] = path.back();
        if (next == outgoing[box].size()) {
          states[box] = eDone;
          mWalked.push_back(static_cast<int>(box));
          path.pop_back();
          continue;
        }
        GraphLine& line = mLines[at(outgoing[box][next++])];
        const std::size_t target = at(line.to);
        line.isBack = states[target] == eOpen;
        if (states[target] != eNew) continue;
        states[target] = eOpen;
        path.emplace_back(target, 0);
      }
    };
    for (const bool isSource : {true, false})
      for (std::size_t box = 0; box < mBoxes.size(); ++box)
        if (states[box] == eNew && (incoming[box] == 0) == isSource) walk(box);
    std::reverse(mWalked.begin(), mWalked.end());  // each box before its targets
  }

  /// The longest way from a source.
  void assignColumns() {
    std::vector<Indices> outgoing(mBoxes.size());
    for (const GraphLine& line : mLines)
      if (!line.isBack) outgoing[at(line.from)].push_back(line.to);
    int last = 0;
    for (const int box : mWalked) {
      last = std::max(last, mBoxes[at(box)].column);
      for (const int target : outgoing[at(box)])
        mBoxes[at(target)].column = std::max(mBoxes[at(target)].column, mBoxes[at(box)].column + 1);
    }
    mColumns.resize(mBoxes.empty() ? 0 : at(last) + 1);
  }

  int addCell(int column, double height, double weight) {
    mCells.push_back({column, height, 0, weight, {}, {}});
    const int cell = static_cast<int>(mCells.size()) - 1;
    mColumns[at(column)].push_back(cell);
    return cell;
  }

  void link(int left, int right) {
    mCells[at(left)].after.push_back(right);
    mCells[at(right)].before.push_back(left);
  }

  void makeCells() {
    std::vector<double> loops(mBoxes.size(), 0.0);
    for (const GraphLine& line : mLines)
      if (line.from == line.to) loops[at(line.from)] = mSpacing.lanes + line.thickness;
    for (const GraphBox& box : mBoxes) {
      const double loop = loops[mCells.size()];
      addCell(box.column, box.height + loop, 1);
    }
    mLineCells.resize(mLines.size());
    std::size_t places = 0;
    for (std::size_t i = 0; i < mLines.size(); ++i) {
      const GraphLine& line = mLines[i];
      if (line.isBack) continue;
      const int first = mBoxes[at(line.from)].column, last = mBoxes[at(line.to)].column;
      places += at(last - first - 1);
      if (places > cMostPlaces) continue;
      int before = line.from;
      for (int column = first + 1; column < last; ++column) {
        const int cell = addCell(column, line.thickness, 6);
        mLineCells[i].push_back(cell);
        link(before, cell);
        before = cell;
      }
      link(before, line.to);
    }
  }

  double gap(int upper, int lower) const {
    const Cell& a = mCells[at(upper)];
    const Cell& b = mCells[at(lower)];
    return (a.height + b.height) / 2 + mSpacing.rows;
  }

  /// Puts the cells of a column as near to where they want to be as their order and sizes allow:
  /// those that want the same place form a block around their mean wish.
  void place(const Indices& column, const std::vector<double>& wishes) {
    struct Block {
      double sum, weight;
      std::size_t count;
      double mean() const { return sum / weight; }
    };
    std::vector<Block> blocks;
    std::vector<double> offsets;
    double offset = 0;
    for (std::size_t i = 0; i < column.size(); ++i) {
      if (i > 0) offset += gap(column[i - 1], column[i]);
      offsets.push_back(offset);
      const double weight = mCells[at(column[i])].weight;
      blocks.push_back({(wishes[i] - offset) * weight, weight, 1});
      while (blocks.size() > 1 && blocks[blocks.size() - 2].mean() > blocks.back().mean()) {
        const Block last = blocks.back();
        blocks.pop_back();
        blocks.back().sum += last.sum;
        blocks.back().weight += last.weight;
        blocks.back().count += last.count;
      }
    }
    std::size_t i = 0;
    for (const Block& block : blocks)
      for (std::size_t end = i + block.count; i < end; ++i)
        mCells[at(column[i])].middle = block.mean() + offsets[i];
  }

  void placeColumn(const Indices& column, bool fromLeft, bool fromRight) {
    std::vector<double> wishes;
    for (const int index : column) {
      const Cell& cell = mCells[at(index)];
      double sum = 0;
      std::size_t count = 0;
      for (const Indices* side :
           {fromLeft ? &cell.before : nullptr, fromRight ? &cell.after : nullptr}) {
        if (side == nullptr) continue;
        for (const int each : *side)
          sum += mCells[at(each)].middle;
        count += side->size();
      }
      wishes.push_back(count > 0 ? sum / static_cast<double>(count) : cell.middle);
    }
    place(column, wishes);
  }

  void placeRows() {
    for (const Indices& column : mColumns)
      place(column, std::vector<double>(column.size(), 0.0));
    for (int sweep = 0; sweep < cSweeps; ++sweep) {
      for (const Indices& column : mColumns)
        placeColumn(column, true, false);
      for (auto column = mColumns.rbegin(); column != mColumns.rend(); ++column)
        placeColumn(*column, false, true);
    }
    for (const Indices& column : mColumns)
      placeColumn(column, true, true);
  }

  /// Lines that run back go below everything that stands between their ends; short ones first.
  void placeLanes(std::vector<double>& bottoms) {
    std::vector<GraphLine*> back;
    for (GraphLine& line : mLines) {
      if (line.from == line.to) {
        line.lane = mBoxes[at(line.from)].bottom() + mSpacing.lanes / 2 + line.thickness / 2 + 2;
      } else if (line.isBack) {
        back.push_back(&line);
      }
    }
    const auto span = [&](const GraphLine* line) {
      return mBoxes[at(line->from)].column - mBoxes[at(line->to)].column;
    };
    std::stable_sort(back.begin(), back.end(), [&](auto* a, auto* b) { return span(a) < span(b); });
    for (GraphLine* line : back) {
      const auto first = bottoms.begin() + mBoxes[at(line->to)].column;
      const auto last = bottoms.begin() + mBoxes[at(line->from)].column + 1;
      const double lowest = *std::max_element(first, last);
      line->lane = lowest + mSpacing.lanes + line->thickness / 2;
      std::fill(first, last, line->lane + line->thickness / 2);
    }
  }

  GraphPlaces finish() {
    GraphPlaces result;
    double top = std::numeric_limits<double>::max();
    for (const Cell& cell : mCells)
      top = std::min(top, cell.middle - cell.height / 2);
    double left = 0;
    for (const Indices& column : mColumns) {
      double width = 0;
      for (const int cell : column)
        if (at(cell) < mBoxes.size()) width = std::max(width, mBoxes[at(cell)].width);
      result.columns.push_back({left, width});
      left += width + mSpacing.columns;
    }
    std::vector<double> bottoms(mColumns.size(), 0.0);
    for (std::size_t i = 0; i < mCells.size(); ++i) {
      Cell& cell = mCells[i];
      cell.middle -= top;
      double& bottom = bottoms[at(cell.column)];
      bottom = std::max(bottom, cell.middle + cell.height / 2);
      if (i >= mBoxes.size()) continue;
      const GraphColumn& column = result.columns[at(cell.column)];
      mBoxes[i].left = column.left + (column.width - mBoxes[i].width) / 2;
      mBoxes[i].top = cell.middle - cell.height / 2;
    }
    for (std::size_t i = 0; i < mLines.size(); ++i)
      for (const int cell : mLineCells[i])
        mLines[i].between.push_back(mCells[at(cell)].middle);
    placeLanes(bottoms);
    if (mBoxes.empty()) return result;
    result.width = result.columns.back().left + result.columns.back().width;
    result.height = *std::max_element(bottoms.begin(), bottoms.end());
    return result;
  }

  std::vector<GraphBox>& mBoxes;
  std::vector<GraphLine>& mLines;
  const GraphSpacing mSpacing;
  Indices mWalked;
  std::vector<Cell> mCells;       // the boxes first
  std::vector<Indices> mColumns;  // cells, from the top
  std::vector<Indices> mLineCells;
};

}  // namespace

GraphPlaces placeGraph(std::vector<GraphBox>& boxes, std::vector<GraphLine>& lines,
                       const GraphSpacing& spacing) {
  return Placing(boxes, lines, spacing).run();
}

}  // namespace tools
