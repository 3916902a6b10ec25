// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

/// Text in fixed char arrays of shared records. Reading never runs past the array, whatever another
/// process wrote there.
namespace LIPC {

/// The text up to its NUL, or the whole array where it has none.
template <std::size_t N>
std::string_view fixedTextView(const char (&field)[N]) {
  return {field, strnlen(field, N)};
}

template <std::size_t N>
std::string fixedText(const char (&field)[N]) {
  return std::string(fixedTextView(field));
}

/// Copies at most N characters and pads with NUL; a text of N or more characters leaves no NUL.
template <std::size_t N>
void setFixedText(char (&field)[N], std::string_view text) {
  const std::size_t length = text.size() < N ? text.size() : N;
  if (length > 0) std::memmove(field, text.data(), length);  // an empty view may have no address
  std::memset(field + length, 0, N - length);
}

}  // namespace LIPC
