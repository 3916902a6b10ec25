// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <functional>
#include <string>

#include "lipc/session/SessionBuffer.h"
#include "lipc/session/ShmManaged.h"

namespace tools {

/// Another client's row in the session's table, to write a value into, as any participant may. No
/// lock guards a row: a value is stored in one piece, and the client's own thread may store its own
/// over it at any time.
///
/// Threads: one.
class ForeignRow {
 public:
  /// Throws Failure where the table is gone or not for this user to write.
  explicit ForeignRow(const std::string& id);

  void set(unsigned parameter, float value);
  /// At most cTextBytes of text without a NUL.
  void put(unsigned slot, const std::string& text);
  static constexpr std::size_t cTextBytes = 127;

  /// Looks at the row for a little longer than a client's thread takes for a pass. Throws Failure
  /// (eExitNotDone), with `what` in it, when the row goes or `isAsWritten` answers no.
  void requireThatItStays(const std::string& what,
                          const std::function<bool(const LIPC::ClientEntry&)>& isAsWritten) const;

 private:
  LIPC::ClientEntry& row() const;

  LIPC::ClientID mID;
  LIPC::ShmManagedOpen<LIPC::SessionBuffer> mTable;
};

}  // namespace tools
