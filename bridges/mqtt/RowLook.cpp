// SPDX-License-Identifier: BSL-1.0
#include "bridges/mqtt/RowLook.h"

#include <algorithm>
#include <cstring>

namespace mqtt {

using inspect::SessionPicture;
using LIPC::ClientEntry;

SessionPicture::eState RowLook::look(inspect::Source& source, Time now, const Changed& changed) {
  const inspect::Mapping mapping = source.attach(LIPC::cSessionSegment);
  const auto state = inspect::readState(source, mapping);
  if (state != SessionPicture::eRead) {
    for (std::size_t place = 0; place < mRows.size(); ++place)
      if (mRows[place].isInUse) changed(static_cast<int>(place), nullptr);
    mRows.clear();
    mNextWholeTable = {};
    return state;
  }
  int rows = std::min(static_cast<int>(mRows.size()) + cRowsBehind, LIPC::cMaxClients);
  if (now >= mNextWholeTable) {
    mNextWholeTable = now + cAllRowsInterval;
    rows = LIPC::cMaxClients;
  }
  const auto& table = *mapping.as<LIPC::SessionBuffer>();
  for (int index = 0; index < rows; ++index)
    lookAtRow(index, table.entries[index], changed);
  const auto last = std::find_if(mRows.rbegin(), mRows.rend(),
                                 [](const Before& before) { return before.isInUse; });
  mRows.erase(last.base(), mRows.end());
  return state;
}

void RowLook::lookAtRow(int index, const ClientEntry& row, const Changed& changed) {
  const auto place = static_cast<std::size_t>(index);
  const bool wasInUse = place < mRows.size() && mRows[place].isInUse;
  if (row.isFree()) {
    if (!wasInUse) return;
    mRows[place] = {};
    return changed(index, nullptr);
  }
  if (wasInUse && std::memcmp(mRows[place].bytes.data(), &row, sizeof row) == 0) return;
  if (place >= mRows.size()) mRows.resize(place + 1);
  // The copy first: what changes from here on is seen at the next look.
  const char* const bytes = reinterpret_cast<const char*>(&row);
  mRows[place].bytes.assign(bytes, bytes + sizeof row);
  mRows[place].isInUse = true;
  changed(index, &row);
}

}  // namespace mqtt
