// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "inspect/Facts.h"
#include "inspect/SessionWatch.h"

namespace inspect {

/// Shared bytes that can be read, for as long as the object or a copy of it lives. Foreign: another
/// process may write over them at any time, and nothing in them is to be trusted.
class Mapping {
 public:
  Mapping() = default;
  Mapping(std::shared_ptr<const char> first, std::size_t bytes)
      : mFirst(std::move(first)), mBytes(bytes) {}

  explicit operator bool() const { return mFirst != nullptr; }
  const char* data() const { return mFirst.get(); }
  std::size_t size() const { return mBytes; }
  std::string_view view() const { return {mFirst.get(), mBytes}; }
  /// Null where there are fewer bytes than a T has.
  template <class T>
  const T* as() const {
    return mFirst && mBytes >= sizeof(T) ? reinterpret_cast<const T*>(mFirst.get()) : nullptr;
  }

 private:
  std::shared_ptr<const char> mFirst;
  std::size_t mBytes = 0;
};

/// The bytes of the connection pool, or why there are none.
struct PoolBytes {
  enum eState : std::uint8_t {
    eMissing,
    eUnreadable,  // not for this user: `error`
    eDamaged,     // it is no pool, or no more one: `error`
    eRead,
  };

  eState state = eMissing;
  std::string error;
  std::string bytes;

  template <class Archive>
  void fields(Archive& archive) {
    archive(state, error, bytes);
  }
};

/// Where a session is read from: the machine itself, or a snapshot of one. The living one writes
/// nothing, makes nothing, takes no lock and joins nothing, and each of its operations ends within
/// `cDeadline`.
///
/// Threads: one at a time.
class Source {
 public:
  static constexpr std::chrono::milliseconds cDeadline{2000};

  virtual ~Source() = default;

  /// Whether what is read now may be other than what was read before.
  virtual bool isLive() const = 0;
  /// Seconds since 1970, where and when the session is.
  virtual std::int64_t time() = 0;
  /// The segment of a name; nothing when there is none. `withUsers`: also who has it attached,
  /// which takes a look at every process of the machine.
  virtual std::optional<SegmentFacts> find(const std::string& name, bool withUsers = false) = 0;
  /// Its bytes; empty when there are none, or none for this user.
  virtual Mapping attach(const std::string& name) = 0;
  virtual PoolBytes pool() = 0;
  /// A sum over the pool's bytes, which is much cheaper than they are: while it stays the same they
  /// have not changed. Nothing where it cannot be had.
  virtual std::optional<std::uint64_t> poolSum() { return std::nullopt; }
  virtual MachineFacts machine() = 0;
  virtual SettingsFacts settings() = 0;
  /// Watches the session for that long; `progress` is called about ten times a second with the part
  /// that is done, 0 to 1, and ends the watch early with false. A snapshot has been watched when it
  /// was made: it answers at once.
  virtual Watched watch(std::chrono::milliseconds duration,
                        const std::function<bool(double)>& progress) = 0;
};

/// This machine.
std::unique_ptr<Source> openMachine();

}  // namespace inspect
