// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "lipc/util/SharedWord.h"

namespace LIPC {

/// A text in shared memory with `Count` buffers, of which `index` names the current one. A writer
/// fills another buffer and then switches `index`, so that a reader in another process finds a
/// complete text in the buffer that `index` names; beside a `put` of exactly `Length` characters it
/// may find an empty one.
///
/// Threads: one writer at a time, any number of readers, in any process. A reader that meets an
/// `index` outside the buffers reads an empty text; a writer takes it modulo the count.
///
/// @ingroup take_part
template <class T, std::size_t Length, std::size_t Count>
struct SHMArray {
  SHMArray() : reserved(0), index(0) {
    for (auto& buffer : buffers)
      buffer[0] = T{};
  }

  /// Makes the first `length` characters of `text` the current text. `length` is the text's strlen.
  /// 129 or more characters are cut to 127.
  /// deliberate: a text of exactly `Length` characters is accepted whole and its NUL lands one byte
  /// behind the buffer: in the first byte of the next buffer, which of two is the current one and
  /// reads empty until the switch, or in the first byte of `index`, which is rewritten at once.
  /// Readers stop at `Length`.
  void put(const char* text, int length) {
    static_assert(sizeof(T) == 1);
    const auto next =
        static_cast<std::int32_t>((static_cast<std::uint32_t>(loadRelaxed(index)) + 1) % Count);
    std::size_t kept = length > 0 ? static_cast<std::size_t>(length) : 0;
    if (kept > Length) kept = Length - 1;
    char* destination = reinterpret_cast<char*>(this) + offsetof(SHMArray, buffers) +
                        Length * static_cast<std::size_t>(next);
    if (kept > 0) std::memcpy(destination, text, kept);
    destination[kept] = '\0';
    storeRelease(index, next);
  }

  /// The current text, at most `Length` characters.
  std::string_view current() const {
    const auto selected = static_cast<std::uint32_t>(loadAcquire(index));
    if (selected >= Count) return {};
    return {buffers[selected], strnlen(buffers[selected], Length)};
  }

  //                           offset  size   (SHMString)
  std::uint64_t reserved;    ///<      0     8  nobody reads it; other programs keep a pointer here
  T buffers[Count][Length];  ///<      8   256  NUL-terminated texts
  std::int32_t index;        ///<    264     4  which buffer is current, 0 or 1
  char padding[4];           ///<    268     4  nobody's
};

/// A participant's string slot.
using SHMString = SHMArray<char, 128, 2>;

static_assert(sizeof(SHMString) == 272);
static_assert(offsetof(SHMString, reserved) == 0);
static_assert(offsetof(SHMString, buffers) == 8);
static_assert(offsetof(SHMString, index) == 264);
static_assert(std::is_standard_layout_v<SHMString>);

}  // namespace LIPC
