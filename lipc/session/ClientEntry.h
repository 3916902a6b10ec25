// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "lipc/session/ClientID.h"
#include "lipc/session/SHMArray.h"
#include "lipc/session/SessionNames.h"
#include "lipc/util/Export.h"

namespace LIPC {

/// One participant's row of the session table. A row whose ID is empty or "Default" is free.
///
/// The table is read without locks, so a row may be met half-written; readers copy what they need.
/// The row's client writes it; the host frees it, and others may write its strings and parameters.
///
/// @ingroup session_table
struct LIPC_API ClientEntry {
  /// A visitor of rows.
  class Predicate {
   public:
    /// Slot 1; `test` has slot 2.
    virtual ~Predicate() = default;
    /// True: go on with the next row. False: stop at this one.
    virtual bool test(const ClientEntry& entry) = 0;
  };

  /// A name's length in a row; 64 bytes fill it without a NUL.
  static constexpr std::size_t cNameBytes = 64;

  /// A free row: the ID empty, everything behind it zero, all strings empty.
  ClientEntry();
  /// Copies everything; each string's current text goes through the destination's `put`, so the
  /// destination's buffer index moves on instead of being copied.
  ClientEntry(const ClientEntry& other);
  /// The same.
  ClientEntry& operator=(const ClientEntry& other);

  /// Frees the row: the ID's first character and everything from `type` to the end of the
  /// parameters. The strings are left as they are.
  void clear();
  /// Frees the row as a client does that frees its own, or a dead one's: the name goes, so that it
  /// does not count against the next client of that name, and then the ID. The rest stays.
  void release();
  /// The ID is empty or "Default"; the rest may still hold what the last client wrote.
  bool isFree() const { return !id.isDefined(); }
  /// Copies at most 64 bytes, NUL-padded: a name of 64 bytes or more fills the field without a NUL.
  void setName(std::string_view text);
  /// The name up to its NUL, 64 bytes at the most; into the row, which may change beside it.
  std::string_view nameView() const;

  /// Rows are equal, and ordered, by their ID alone.
  bool operator==(const ClientEntry& other) const { return id.equals(other.id); }
  /// The same.
  bool operator<(const ClientEntry& other) const { return id < other.id; }

  //                                      offset  size  written by the row's client
  ClientID id;                       ///<      0    65  key of the row
  char padding[3];                   ///<     65     3  not written by copies
  std::uint32_t type;                ///<     68     4  four-character code
  char name[cNameBytes];             ///<     72    64  display name, unique in the session
  std::uint32_t mode;                ///<    136     4  eClientMode bits
  std::uint16_t inputChannelCount;   ///<    140     2  0 without eClientModeInputs
  std::uint16_t outputChannelCount;  ///<    142     2  0 without eClientModeOutputs

  /// Offset 144, 512 bytes. Others may write them too: the client takes 0 to 7 and 32 to 127 over
  /// at its next pass.
  float offlineParameters[cOfflineParameterCount];
  /// Offset 656, 2720 bytes: slot i at 656 + 272 * i. Others may write them too.
  SHMString strings[cStringSlotCount];
};

static_assert(sizeof(ClientEntry) == 3376);
static_assert(offsetof(ClientEntry, id) == 0);
static_assert(offsetof(ClientEntry, type) == 68);
static_assert(offsetof(ClientEntry, name) == 72);
static_assert(offsetof(ClientEntry, mode) == 136);
static_assert(offsetof(ClientEntry, inputChannelCount) == 140);
static_assert(offsetof(ClientEntry, outputChannelCount) == 142);
static_assert(offsetof(ClientEntry, offlineParameters) == 144);
static_assert(offsetof(ClientEntry, strings) == 656);
static_assert(std::is_standard_layout_v<ClientEntry>);

/// Finds the row of an ID, free rows not skipped.
///
/// @ingroup session_table
class LIPC_API PredicateFindClientEntryForID final : public ClientEntry::Predicate {
 public:
  /// `wanted` is copied.
  explicit PredicateFindClientEntryForID(const ClientID& wanted) : id(wanted) {}
  bool test(const ClientEntry& candidate) override;

  bool found = false;                  ///< a visit met the row
  ClientID id;                         ///< looked for
  const ClientEntry* entry = nullptr;  ///< the row itself: good while the table is mapped
};

}  // namespace LIPC
