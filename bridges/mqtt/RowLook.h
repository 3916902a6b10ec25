// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <functional>
#include <vector>

#include "inspect/Picture.h"
#include "inspect/Source.h"
#include "lipc/session/SessionBuffer.h"

namespace mqtt {

/// Looks at the session's table many times a second and tells which rows are other than at the look
/// before. Rows are compared as bytes: what does not change costs next to nothing. Nothing stays
/// attached between looks.
///
/// Threads: one.
class RowLook {
 public:
  using Time = std::chrono::steady_clock::time_point;
  /// Of all rows of the table; in between those in use, and some behind them.
  static constexpr std::chrono::milliseconds cAllRowsInterval{1000};
  static constexpr int cRowsBehind = 8;

  /// `row`: as it is now, foreign memory; null where it is free. Good until it returns.
  using Changed = std::function<void(int index, const LIPC::ClientEntry* row)>;

  /// Where there is no session that can be read, all rows that were in use are free.
  inspect::SessionPicture::eState look(inspect::Source& source, Time now, const Changed& changed);

 private:
  void lookAtRow(int index, const LIPC::ClientEntry& row, const Changed& changed);

  struct Before {
    bool isInUse = false;
    std::vector<char> bytes;
  };
  std::vector<Before> mRows;  // up to the last one in use
  Time mNextWholeTable{};
};

}  // namespace mqtt
