// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// What this machine says of a session's parts: plain data, as it was at one moment. Each struct
/// names its fields once, in `fields`, for who writes them into a snapshot or reads them out of
/// one. Times are in seconds since 1970, 0 for never.
namespace inspect {

struct ProcessFacts {
  std::int64_t id = 0;  // 0: none
  bool lives = false;
  bool isStopped = false;  // by a signal or a debugger
  std::string command;     // empty where the system does not tell

  template <class Archive>
  void fields(Archive& archive) {
    archive(id, lives, isStopped, command);
  }
};

struct SegmentFacts {
  std::string name;        // by which it was looked for
  std::int64_t id = -1;    // the system's identifier
  std::int32_t error = 0;  // errno: this process may not read it, and the rest is unknown
  std::uint64_t bytes = 0;
  std::uint64_t attachCount = 0;
  std::uint32_t owner = 0;        // user
  std::uint32_t permissions = 0;  // 0 to 0777
  std::int64_t lastAttached = 0;
  std::int64_t lastDetached = 0;
  ProcessFacts creator;   // made it; maybe for an earlier owner, since a segment is used again
  ProcessFacts lastUser;  // the last one to attach or detach it
  /// Who has it attached: only where the system tells and only with `withUsers`.
  std::vector<ProcessFacts> users;
  bool areUsersComplete = false;  // `users` are all of them

  bool isAttached() const { return attachCount != 0; }

  template <class Archive>
  void fields(Archive& archive) {
    archive(name, id, error, bytes, attachCount, owner, permissions, lastAttached, lastDetached,
            creator, lastUser, users, areUsersComplete);
  }
};

/// A key file, whose identity makes a segment's key.
struct KeyFileFacts {
  std::string name;       // of the segment
  std::int64_t key = -1;  // -1: the file gives none
  std::uint32_t owner = 0;
  std::uint32_t permissions = 0;
  std::int64_t modified = 0;

  template <class Archive>
  void fields(Archive& archive) {
    archive(name, key, owner, permissions, modified);
  }
};

struct SemaphoreFacts {
  std::string platformName;  // without the leading slash
  std::int64_t ageSeconds = 0;
  std::uint32_t owner = 0;
  std::uint32_t permissions = 0;
  std::optional<std::int32_t> count;  // where the system tells

  template <class Archive>
  void fields(Archive& archive) {
    archive(platformName, ageSeconds, owner, permissions, count);
  }
};

/// The connection pool's file.
struct PoolFileFacts {
  bool isThere = false;
  std::int32_t error = 0;  // errno: this process may not read it, and the rest is unknown
  std::uint64_t bytes = 0;
  std::uint32_t owner = 0;
  std::uint32_t permissions = 0;

  template <class Archive>
  void fields(Archive& archive) {
    archive(isThere, error, bytes, owner, permissions);
  }
};

/// A folder in which sessions keep files, and how much is free where it lies.
struct FolderFacts {
  std::string path;
  std::int32_t error = 0;  // errno: it is not there, or cannot be looked at
  bool isWritable = false;
  std::uint64_t bytes = 0;
  std::uint64_t bytesFree = 0;

  template <class Archive>
  void fields(Archive& archive) {
    archive(path, error, isWritable, bytes, bytesFree);
  }
};

struct SettingsFileFacts {
  enum eState : std::uint8_t { eMissing, eUnreadable, eMalformed, eRead };

  std::string path;
  eState state = eMissing;
  std::int32_t error = 0;  // errno of eUnreadable
  std::uint32_t owner = 0;
  std::map<std::string, std::string> values;

  template <class Archive>
  void fields(Archive& archive) {
    archive(path, state, error, owner, values);
  }
};

/// The settings files out of which a settings client of this session's host publishes.
struct SettingsFacts {
  SettingsFileFacts numbers;
  SettingsFileFacts texts;   // the same file, unless a last user is named
  std::string lastUserFile;  // the one that names the user whose numbers count; empty: none does

  template <class Archive>
  void fields(Archive& archive) {
    archive(numbers, texts, lastUserFile);
  }
};

struct LimitFacts {
  std::optional<std::uint64_t> largestSegmentBytes;
  std::optional<std::uint64_t> allPages;
  std::optional<std::uint64_t> segments;
  std::optional<std::uint64_t> segmentsPerProcess;
  std::uint64_t pageBytes = 0;
  std::optional<std::uint64_t> segmentsInUse;  // where the system tells
  std::optional<std::uint64_t> pagesInUse;

  template <class Archive>
  void fields(Archive& archive) {
    archive(largestSegmentBytes, allPages, segments, segmentsPerProcess, pageBytes, segmentsInUse,
            pagesInUse);
  }
};

struct MachineFacts {
  std::string system;  // "Linux 6.1.0 x86_64"
  std::string user;    // who looked
  std::uint32_t userID = 0;
  std::int64_t time = 0;  // when
  LimitFacts limits;
  std::vector<KeyFileFacts> keyFiles;
  std::vector<SegmentFacts> segments;  // of the session and of every name with a key file
  bool areSemaphoresListed = false;    // macOS does not list them
  std::vector<SemaphoreFacts> semaphores;
  std::vector<FolderFacts> folders;
  SettingsFacts settings;
  PoolFileFacts poolFile;

  template <class Archive>
  void fields(Archive& archive) {
    archive(system, user, userID, time, limits, keyFiles, segments, areSemaphoresListed, semaphores,
            folders, settings, poolFile);
  }
};

}  // namespace inspect
