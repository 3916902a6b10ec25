// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
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

  /// The 64 characters up to a NUL: "Default" and the empty text are two.
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

}  // namespace LIPC
