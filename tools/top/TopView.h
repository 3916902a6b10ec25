// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/top/TopLine.h"
#include "tools/top/TopModel.h"
#include "tools/top/TopTable.h"

namespace tools {

enum class eTopKey {
  eNone,
  eUp,
  eDown,
  ePageUp,
  ePageDown,
  eHome,
  eEnd,
  eOpen,
  eBack,
  eSort,
  eReverse,
  ePause,
  eReturns,
  eHelp,
  eQuit,
};

/// What a person sees of the model, and where the keys have led. Pure. Threads: one.
class TopView {
 public:
  /// `title`: of what is seen, where it is not the living session; else empty.
  TopView(std::string title, bool isUTF8) : mTitle(std::move(title)) { mShow.isUTF8 = isUTF8; }

  void take(const TopModel& model);
  /// False when it was the one to quit.
  bool handle(eTopKey key);
  /// No looks are wanted.
  bool isPaused() const { return mIsPaused; }
  /// A client is open.
  bool isOpen() const { return !mOpened.empty(); }

  /// Exactly `height` lines; the last one lists the keys.
  std::vector<TopLine> lines(int width, int height);
  /// The whole table for a reader without a screen; with line feeds.
  std::string text(int width) const;

 private:
  using Key = std::pair<int, std::string>;

  void move(long by);
  void sort();
  TopLine titleLine() const;
  TopLine keysLine(int width) const;
  std::vector<TopLine> table(int width, int height);
  std::vector<TopLine> page(std::vector<TopLine> all, int height);
  std::vector<TopLine> opened(int width) const;

  std::string mTitle;
  TopShow mShow;
  TopOrder mOrder;
  bool mIsPaused = false;
  bool mIsHelp = false;
  std::string mOpened;  // ID

  inspect::SessionPicture mSession;  // without its clients
  bool mIsHostStalled = false;
  std::vector<TopRow> mRows;
  Key mSelected;
  long mSelection = 0;  // where it is in mRows
  long mFirst = 0;      // the first row, or line of a page, on the screen
  long mPage = 1;       // rows or lines that fit
};

/// A client on a page of its own.
std::vector<TopLine> clientPage(const TopRow& row, const inspect::SessionPicture& session,
                                TopShow show, int width);
std::vector<TopLine> helpPage();

}  // namespace tools
