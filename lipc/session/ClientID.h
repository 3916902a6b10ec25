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
struct LIPC_API ClientID {
  static constexpr std::size_t cCharacters = 64;
  static constexpr char cUnset[] = "Default";

  ClientID() { clear(); }
  /// Null reads as empty.
  explicit ClientID(const char* text) { setTo(text); }
  explicit ClientID(const std::string& text) { setTo(text.c_str()); }
  ClientID(const ClientID& other) { *this = other; }
  ClientID& operator=(const ClientID& other);

  void clear() { id[0] = '\0'; }
  void setTo(const char* text);
  bool isDefined() const;
  /// The characters up to the first NUL, 64 at the most.
  std::string_view view() const;
  std::string text() const { return std::string(view()); }

  bool operator==(const ClientID& other) const;
  /// Null reads as empty.
  bool operator==(const char* text) const;
  bool operator<(const ClientID& other) const;

  //                         offset  size
  char id[cCharacters];  //      0    64
  char terminator;       //     64     1  always 0
};

static_assert(sizeof(ClientID) == 65);
static_assert(offsetof(ClientID, id) == 0);
static_assert(offsetof(ClientID, terminator) == 64);
static_assert(std::is_standard_layout_v<ClientID>);

}  // namespace LIPC
