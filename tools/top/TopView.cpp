// SPDX-License-Identifier: BSL-1.0
#include "tools/top/TopView.h"

#include <algorithm>

#include <fmt/core.h>

#include "tools/CommandName.h"
#include "tools/Terminal.h"
#include "tools/Text.h"

namespace tools {
namespace {

using inspect::SessionPicture;

/// Why there are no rows; empty where there may be some.
std::string whyNone(const SessionPicture& session) {
  switch (session.state) {
    case SessionPicture::eRead:
      return {};
    case SessionPicture::eNone:
      return "no session";
    case SessionPicture::eNoPermission:
      return "the session is another user's";
    case SessionPicture::eTooSmall:
      return "what goes by the session's name is none";
    case SessionPicture::eOverwritten:
      return "the session's table was written over";
    case SessionPicture::eForeign:
      break;
  }
  return fmt::format("session of protocol {}, {} bits", session.protocolVersion,
                     session.pointerWidthBits);
}

}  // namespace

void TopView::take(const TopModel& model) {
  mSession = model.session();
  mIsHostStalled = model.isHostStalled();
  mRows = model.rows();
  sort();
}

/// The choice stays on its client; where that left, on its place.
void TopView::sort() {
  sortRows(mRows, mOrder, mShow.ofReturns);
  const auto found = std::find_if(mRows.begin(), mRows.end(), [&](const TopRow& row) {
    return Key(row.client.index, row.client.id) == mSelected;
  });
  move(found != mRows.end() ? found - mRows.begin() - mSelection : 0);
}

void TopView::move(long by) {
  if (mIsHelp || isOpen()) return;
  const long last = static_cast<long>(mRows.size()) - 1;
  mSelection = std::clamp(mSelection + by, 0L, std::max(last, 0L));
  if (last < 0) return;
  const inspect::ClientPicture& client = mRows[static_cast<std::size_t>(mSelection)].client;
  mSelected = {client.index, client.id};
}

bool TopView::handle(eTopKey key) {
  constexpr long cAll = 1'000'000;
  const auto go = [&](long by) {
    if (mIsHelp || isOpen())
      mFirst += by;  // page() keeps it within bounds
    else
      move(by);
  };
  switch (key) {
    case eTopKey::eQuit:
      return false;
    case eTopKey::eUp:
      go(-1);
      break;
    case eTopKey::eDown:
      go(1);
      break;
    case eTopKey::ePageUp:
      go(-mPage);
      break;
    case eTopKey::ePageDown:
      go(mPage);
      break;
    case eTopKey::eHome:
      go(-cAll);
      break;
    case eTopKey::eEnd:
      go(cAll);
      break;
    case eTopKey::eHelp:
      mIsHelp = !mIsHelp;
      mFirst = 0;
      break;
    case eTopKey::eBack:
      if (!std::exchange(mIsHelp, false)) mOpened.clear();
      mFirst = 0;
      break;
    case eTopKey::eOpen:
      if (mIsHelp || isOpen() || mRows.empty()) break;
      mOpened = mSelected.second;
      mFirst = 0;
      break;
    case eTopKey::eSort:
      if (!isOpen()) mOrder.advance();
      break;
    case eTopKey::eReverse:
      if (!isOpen()) mOrder.isReversed = !mOrder.isReversed;
      break;
    case eTopKey::ePause:
      mIsPaused = !mIsPaused;
      break;
    case eTopKey::eReturns:
      mShow.ofReturns = !mShow.ofReturns;
      break;
    case eTopKey::eNone:
      break;
  }
  sort();
  return true;
}

TopLine TopView::titleLine() const {
  TopLine line("lipc top  ", eTopStyle::eBold);
  if (!mTitle.empty()) line.add(mTitle + "  ");
  const std::string why = whyNone(mSession);
  if (!why.empty())
    line.add(why, eTopStyle::eRed);
  else if (mIsHostStalled)
    line.add("host stalled", eTopStyle::eRed);
  else
    line.add("host beating", eTopStyle::eGreen);
  if (mIsPaused) line.add("  ").add("paused", eTopStyle::eYellow);
  if (!why.empty()) return line;
  const auto clients = std::count_if(mRows.begin(), mRows.end(),
                                     [](const TopRow& row) { return row.life != TopRow::eGone; });
  line.add("  " + countText(clients, "client"));
  line.add(mShow.ofReturns ? "  returns" : "  sends");
  if (!isOpen()) line.add("  " + mOrder.text());
  return line;
}

/// As many as fit, the most important ones first.
TopLine TopView::keysLine(int width) const {
  const std::vector<const char*> ofTable{"q quit",  "h help",    "Enter open", "s sort",
                                         "p pause", "r returns", "S reverse",  "Up Down"};
  const std::vector<const char*> ofPage{"q quit",    "Esc back", "p pause",
                                        "r returns", "h help",   "Up Down PgUp PgDn"};
  std::string keys;
  for (const std::string key : mIsHelp || isOpen() ? ofPage : ofTable) {
    const std::string text = (keys.empty() ? "" : "  ") + key;
    if (static_cast<int>(keys.size() + text.size()) > width) break;
    keys += text;
  }
  return {keys, eTopStyle::eDim};
}

std::vector<TopLine> TopView::table(int width, int height) {
  const TopTable table(mRows, width, mShow);
  std::vector<TopLine> lines{table.head(mOrder.column)};
  mPage = std::max(height - 1, 1);
  const long count = static_cast<long>(mRows.size());
  mFirst = std::clamp(mFirst, mSelection - mPage + 1, mSelection);
  mFirst = std::clamp(mFirst, 0L, std::max(count - mPage, 0L));
  for (long i = mFirst; i < std::min(mFirst + mPage, count); ++i) {
    lines.push_back(table.line(mRows[static_cast<std::size_t>(i)]));
    lines.back().isSelected = i == mSelection;
  }
  if (mRows.empty() && mSession.state == SessionPicture::eNone && mTitle.empty())
    lines.emplace_back(asCalled("Waiting for a host. Start one, for example: lipc host"));
  return lines;
}

std::vector<TopLine> TopView::page(std::vector<TopLine> all, int height) {
  mPage = std::max(height, 1);
  mFirst = std::clamp(mFirst, 0L, std::max(static_cast<long>(all.size()) - mPage, 0L));
  all.erase(all.begin(), all.begin() + mFirst);
  return all;
}

std::vector<TopLine> TopView::opened(int width) const {
  const auto found = std::find_if(mRows.begin(), mRows.end(),
                                  [&](const TopRow& row) { return row.client.id == mOpened; });
  if (found != mRows.end()) return clientPage(*found, mSession, mShow, width);
  const std::string id = printable(mOpened);
  return {TopLine(fitted(id, static_cast<int>(columnsOf(id)), mShow.isUTF8), eTopStyle::eBold),
          TopLine("  is not in the session")};
}

std::vector<TopLine> TopView::lines(int width, int height) {
  const int body = std::max(height - 2, 0);
  std::vector<TopLine> lines = mIsHelp    ? page(helpPage(), body)
                               : isOpen() ? page(opened(width), body)
                                          : table(width, body);
  lines.resize(static_cast<std::size_t>(body));
  lines.insert(lines.begin(), titleLine());
  lines.push_back(keysLine(width));
  if (height < 2) lines.resize(static_cast<std::size_t>(std::max(height, 0)));
  return lines;
}

std::string TopView::text(int width) const {
  const TopTable table(mRows, width, mShow, true);
  std::string text = titleLine().text() + "\n" + table.head(mOrder.column).text() + "\n";
  for (const TopRow& row : mRows)
    text += table.line(row).text() + "\n";
  return text;
}

}  // namespace tools
