// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

namespace LIPC {

/// The name record of a machine-wide counting semaphore. It lies in a shared segment (or in a
/// client object) and is built once, by whoever creates the structure that holds it. Processes that
/// wait on or post the semaphore open a SemaphoreHandle from the record.
///
/// The platform's name is derived, not stored as given, because macOS allows 30 characters: the
/// first 8 characters are a checksum of the full name, then come characters 8 to 28 of it. The
/// checksum's nibbles are each OR-ed with 0x30, lowest nibble first, so 10 to 15 become
/// ":;<=>?": deliberate, since unrelated processes derive the same name from the same full name.
///
/// Threads: a record is written by its creator only. Errors: none are reported.
struct Semaphore {
  static constexpr std::size_t cNameBytes = 128;
  /// Index of the NUL that ends the platform's name at the latest.
  static constexpr std::size_t cPosixNameEnd = 29;
  static constexpr std::size_t cChecksumCharacters = 8;

  /// Builds the record and unlinks any platform semaphore of that name, so that the next handle
  /// creates it afresh with `initialCount`.
  Semaphore(const char* fullName, unsigned startCount) noexcept;
  /// Unlinks the platform's name, where the record is still well formed; open handles stay usable.
  ~Semaphore();
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  /// The platform's name for `fullName`, without the leading slash. Different full names may have
  /// one: the checksum is a sum, and only characters 8 to 28 are kept.
  static std::string platformName(const char* fullName);
  /// Unlinks the platform semaphore that `fullName` stands for, if there is one.
  static void unlink(const char* fullName) noexcept;
  /// As `unlink`, by the platform's name; true when there was one and this process may remove it.
  static bool unlinkPlatformName(const char* posixName) noexcept;
  /// Posts the platform semaphore of a foreign record where there is one: creates none, and touches
  /// nothing for a record that is not well formed. False when nothing was posted.
  static bool postIfPresent(const Semaphore& record) noexcept;

  /// False when a foreign or damaged record cannot have come from the constructor: no end within
  /// the platform name's limit, no checksum in front, or a slash in it. Nothing is opened from such
  /// a record.
  bool isWellFormed() const noexcept;

  // Written by the constructor.       offset  size
  char posixName[cNameBytes];  //      0   128  the platform's name, without the leading slash
  char name[cNameBytes];       //    128   128  the full name, NUL-padded, last byte NUL
  std::uint32_t initialCount;  //    256     4  count at creation
};

static_assert(sizeof(Semaphore) == 260);
static_assert(alignof(Semaphore) == 4);
static_assert(offsetof(Semaphore, posixName) == 0);
static_assert(offsetof(Semaphore, name) == 128);
static_assert(offsetof(Semaphore, initialCount) == 256);
static_assert(std::is_standard_layout_v<Semaphore>);

}  // namespace LIPC
