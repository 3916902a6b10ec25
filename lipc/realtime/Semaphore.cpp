// SPDX-License-Identifier: BSL-1.0
#include "lipc/realtime/Semaphore.h"

#include <cstring>

#include <boost/interprocess/sync/named_semaphore.hpp>

namespace LIPC {

namespace bip = boost::interprocess;

namespace {

std::uint32_t checksum(const char (&fullName)[Semaphore::cNameBytes]) {
  std::uint32_t words[Semaphore::cNameBytes / sizeof(std::uint32_t)];
  std::memcpy(words, fullName, sizeof words);
  std::uint32_t sum = 0;
  for (const std::uint32_t word : words)
    sum += word;
  return sum;
}

/// Copies like strncpy: up to the buffer's size, the rest NUL.
void copyPadded(char (&destination)[Semaphore::cNameBytes], const char* text) {
  const std::size_t length = strnlen(text, sizeof destination);
  std::memcpy(destination, text, length);
  std::memset(destination + length, 0, sizeof destination - length);
}

using Name = char[Semaphore::cNameBytes];

void setNames(Name& posixName, Name& name, const char* fullName) {
  copyPadded(posixName, fullName);
  copyPadded(name, fullName);
  name[Semaphore::cNameBytes - 1] = '\0';

  const std::uint32_t sum = checksum(name);
  for (std::size_t i = 0; i < Semaphore::cChecksumCharacters; ++i) {
    posixName[i] = static_cast<char>(0x30 | ((sum >> (4 * i)) & 0x0F));
  }
  posixName[Semaphore::cPosixNameEnd] = '\0';
}

bool isPlatformName(const Name& posixName) {
  const std::size_t length = strnlen(posixName, sizeof posixName);
  if (length < Semaphore::cChecksumCharacters || length > Semaphore::cPosixNameEnd) return false;
  for (std::size_t i = 0; i < Semaphore::cChecksumCharacters; ++i) {
    if ((posixName[i] & 0xF0) != 0x30) return false;
  }
  return std::memchr(posixName, '/', length) == nullptr;
}

}  // namespace

Semaphore::Semaphore(const char* fullName, unsigned startCount) noexcept
    : initialCount(startCount) {
  setNames(posixName, name, fullName);
  unlinkPlatformName(posixName);
}

Semaphore::~Semaphore() {
  if (isWellFormed()) unlinkPlatformName(posixName);
}

std::string Semaphore::platformName(const char* fullName) {
  Name posixName;
  Name name;
  setNames(posixName, name, fullName);
  return posixName;
}

void Semaphore::unlink(const char* fullName) noexcept {
  // The constructor unlinks.
  const Semaphore record(fullName, 0);
}

bool Semaphore::unlinkPlatformName(const char* posixName) noexcept {
  return bip::named_semaphore::remove(posixName);
}

bool Semaphore::postIfPresent(const Semaphore& record) noexcept {
  // A copy: the record is another process's, and may change between the look and the use.
  Name posixName;
  std::memcpy(posixName, record.posixName, sizeof posixName);
  if (!isPlatformName(posixName)) return false;
  try {
    bip::named_semaphore(bip::open_only, posixName).post();
    return true;
  } catch (const bip::interprocess_exception&) {
    return false;
  }
}

bool Semaphore::isWellFormed() const noexcept {
  return isPlatformName(posixName);
}

}  // namespace LIPC
