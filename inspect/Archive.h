// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

/// How facts stand in a snapshot: one after the other, numbers as they are in memory, texts and
/// lists with their count of 64 bits in front, an optional one with a byte that says whether it is
/// there.
namespace inspect {

/// What is read is no archive of this kind.
class ArchiveError final : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

template <class T>
inline constexpr bool cIsPlain = std::is_arithmetic_v<T> || std::is_enum_v<T>;

class ArchiveWriter {
 public:
  template <class... Values>
  void operator()(const Values&... values) {
    (put(values), ...);
  }
  const std::string& bytes() const { return mBytes; }

 private:
  template <class T>
  void put(const T& value) {
    if constexpr (cIsPlain<T>) {
      mBytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    } else {
      // `fields` is one for both directions; nothing is changed here.
      const_cast<T&>(value).fields(*this);
    }
  }
  void put(const std::string& text) {
    put(std::uint64_t{text.size()});
    mBytes += text;
  }
  template <class T>
  void put(const std::vector<T>& list) {
    put(std::uint64_t{list.size()});
    for (const T& value : list)
      put(value);
  }
  template <class T>
  void put(const std::optional<T>& value) {
    put(value.has_value());
    if (value) put(*value);
  }
  template <class Key, class T>
  void put(const std::map<Key, T>& map) {
    put(std::uint64_t{map.size()});
    for (const auto& [key, value] : map)
      (*this)(key, value);
  }

  std::string mBytes;
};

/// Throws ArchiveError where the bytes end too early; takes no more memory than a small multiple of
/// what it reads.
class ArchiveReader {
 public:
  ArchiveReader(const char* first, std::size_t bytes) : mNext(first), mLeft(bytes) {}

  template <class... Values>
  void operator()(Values&... values) {
    (get(values), ...);
  }
  bool isAtEnd() const { return mLeft == 0; }

 private:
  template <class T>
  void get(T& value) {
    if constexpr (std::is_same_v<T, bool>) {
      value = *take(1) != 0;
    } else if constexpr (cIsPlain<T>) {
      std::memcpy(&value, take(sizeof value), sizeof value);
    } else {
      value.fields(*this);
    }
  }
  void get(std::string& text) {
    const std::size_t count = takeCount();
    text.assign(take(count), count);
  }
  template <class T>
  void get(std::vector<T>& list) {
    list.clear();
    for (std::size_t left = takeCount(); left > 0; --left)
      get(list.emplace_back());
  }
  template <class T>
  void get(std::optional<T>& value) {
    bool isThere = false;
    get(isThere);
    if (isThere)
      get(value.emplace());
    else
      value.reset();
  }
  template <class Key, class T>
  void get(std::map<Key, T>& map) {
    map.clear();
    for (std::size_t left = takeCount(); left > 0; --left) {
      Key key{};
      get(key);
      get(map[key]);
    }
  }

  /// Every element has at least a byte.
  std::size_t takeCount() {
    std::uint64_t count = 0;
    get(count);
    if (count > mLeft) throw ArchiveError("it ends too early");
    return static_cast<std::size_t>(count);
  }
  const char* take(std::size_t count) {
    if (count > mLeft) throw ArchiveError("it ends too early");
    const char* first = mNext;
    mNext += count;
    mLeft -= count;
    return first;
  }

  const char* mNext;
  std::size_t mLeft;
};

}  // namespace inspect
