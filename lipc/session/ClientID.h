// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include "lipc/util/Export.h"

namespace LIPC {

/// The session-wide identity of a participant: 64 characters, NUL-padded, not necessarily with a
/// NUL among them, and a byte that ends them. Only the 64 characters are compared. Empty or
/// "Default" means unset.
///
/// Part of shared records: a reader may meet any bytes in it. No operation reads past the 65.
///
/// @ingroup take_part
struct LIPC_API ClientID {
  /// What counts and is compared; the rest of a longer text is cut off.
  static constexpr std::size_t cCharacters = 64;
  /// The text that, as the empty one, means unset.
  static constexpr char cUnset[] = "Default";

  /// Unset. Only the first of the characters is written.
  ClientID() { clear(); }
  /// Null reads as empty.
  explicit ClientID(const char* text) { setTo(text); }
  /// Up to the text's first NUL.
  explicit ClientID(const std::string& text) { setTo(text.c_str()); }
  /// Writes all 65 bytes, whatever `other` holds behind its first NUL.
  ClientID(const ClientID& other) { *this = other; }
  /// The same.
  ClientID& operator=(const ClientID& other);

  /// Unsets it; only the first of the characters is written.
  void clear() { id[0] = '\0'; }
  /// At most 64 characters, NUL-padded. Null reads as empty.
  void setTo(const char* text);
  /// Neither empty nor "Default".
  bool isDefined() const;
  /// The characters up to the first NUL, 64 at the most.
  std::string_view view() const;
  /// The same as a copy.
  std::string text() const { return std::string(view()); }

  /// The 64 characters up to a NUL: "Default" and the empty text are two. Inline, for whoever looks
  /// through a table; `other` is best the ID that is looked for.
  bool equals(const ClientID& other) const;
  /// The same as a function of the library.
  bool operator==(const ClientID& other) const;
  /// Null reads as empty.
  bool operator==(const char* text) const;
  /// By the bytes of the 64 characters.
  bool operator<(const ClientID& other) const;

  //                           offset  size
  char id[cCharacters];  ///<      0    64  NUL-padded
  char terminator;       ///<     64     1  always 0
};

static_assert(sizeof(ClientID) == 65);
static_assert(offsetof(ClientID, id) == 0);
static_assert(offsetof(ClientID, terminator) == 64);
static_assert(std::is_standard_layout_v<ClientID>);

inline bool ClientID::equals(const ClientID& other) const {
  if constexpr (std::endian::native != std::endian::little)
    return std::strncmp(id, other.id, cCharacters) == 0;
  std::uint64_t mine = 0, wanted = 0;  // the first eight characters, the first in the lowest byte
  std::memcpy(&mine, id, sizeof mine);
  std::memcpy(&wanted, other.id, sizeof wanted);
  // The highest bit of each zero byte of `wanted`, right up to the lowest of them.
  const std::uint64_t ends = (wanted - 0x0101010101010101u) & ~wanted & 0x8080808080808080u;
  const std::uint64_t upToEnd = ends ^ (ends - 1);  // all bits where none is zero
  if (((mine ^ wanted) & upToEnd) != 0) [[likely]]
    return false;
  return ends != 0 ||
         std::strncmp(id + sizeof mine, other.id + sizeof mine, cCharacters - sizeof mine) == 0;
}

}  // namespace LIPC
