// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <chrono>
#include <cstddef>
#include <ctime>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <type_traits>

#include <sys/types.h>

namespace LIPC {

/// What the system says of a segment. Where this process may not read it, nothing but its `id` and
/// `error`.
struct SegmentState {
  int id = -1;
  int error = 0;  // errno
  std::size_t bytes = 0;
  unsigned long attachCount = 0;  // of all processes
  pid_t creator = 0;              // the process that made it
  pid_t lastUser = 0;             // the last one to attach or detach it; 0: none yet
  uid_t owner = 0;
  unsigned permissions = 0;      // 0 to 0777
  std::time_t lastAttached = 0;  // 0: never
  std::time_t lastDetached = 0;  // 0: never

  bool isAttached() const { return attachCount != 0; }
};

/// Owners of System V segments. A segment is found by name through shmKey; the owner object holds
/// the attachment and lets go of it in its destructor. The contents belong to the segment.
///
/// A name is not an identity: a key has few bits, and two names may fall on one. Removal is for
/// owners: outside an owner's own leave a segment goes only when no process has it attached.
///
/// An owner that cannot get or attach its segment has a null `get` and the reason in `error`;
/// whoever made it reports. By itself it prints perror's line for a failed attach, and shmKey logs
/// a name without a key file.
///
/// Threads: one at a time each; attaching and detaching take a lock of the process, shortly.
class ShmManaged {
 public:
  enum eNameState {
    eNameHeld,   // the name leads to the attached segment
    eNameFree,   // it leads nowhere: the segment was removed, or the key file was
    eNameTaken,  // it leads to another segment
  };

  virtual ~ShmManaged() = default;
  ShmManaged(const ShmManaged&) = delete;
  ShmManaged& operator=(const ShmManaged&) = delete;

  /// Removes the segment of that name from the system and returns 0. A segment that does not exist
  /// or cannot be removed is logged at error level and ends the process with exit status 1.
  static int remove(const char* name);
  /// Removes the segment of that name if there is one and this process may; true when it did. For
  /// who takes the name's owner's place.
  static bool removeIfPresent(const char* name);
  /// The same, but only when no process has it attached. An owner that leaves detaches its segment
  /// and then removes it, and its process ends when that fails: whoever is not sure that the owner
  /// is dead looks, waits for cOwnRemovalTime and looks again.
  static bool removeIfUnattached(const char* name);
  static constexpr std::chrono::milliseconds cOwnRemovalTime{50};
  /// The segment that a name, or a key, leads to, if there is one. Leaves no trace.
  static std::optional<SegmentState> find(const char* name);
  static std::optional<SegmentState> find(key_t key);

  eNameState nameState() const;
  bool holdsItsName() const { return nameState() == eNameHeld; }
  /// Bytes of the attached segment as the system has it (not as any record in it claims); 0 when
  /// not attached.
  std::size_t mappedBytes() const { return mMappedBytes; }
  /// The errno for which there is nothing attached; 0 when there is. EEXIST: the name leads to a
  /// segment that is somebody else's.
  int error() const { return mError; }

 protected:
  explicit ShmManaged(const char* name);

  /// Gets an existing segment. `minimumBytes`: a smaller segment is foreign and not attached.
  void open(std::size_t minimumBytes);
  /// Gets or creates a segment of `bytes`. One that exists is reused when it has that size or when
  /// nobody has it attached (where it is too small: made anew), and else left alone.
  void createOrOpen(std::size_t bytes);
  /// Maps the pages of the whole attached segment now; where nothing is attached, does nothing.
  /// `toWrite`: makes them too where they are missing. What lies in them stays as it is.
  void populate(bool toWrite) const;
  void detach();
  /// Detaches and removes; a failed removal is fatal (exit status 1), deliberately: a segment that
  /// cannot be removed would be taken for a live participant's.
  void detachAndRemoveOrExit();
  /// The same without the end of the process.
  void detachAndTryToRemove();

  key_t key;
  int shmid = -1;
  void* address = nullptr;

 private:
  void attach();

  const std::string mName;
  std::size_t mMappedBytes = 0;
  int mError = 0;
};

/// The size below which a segment cannot be a T. For records whose layout is another program's, 1.
template <class T>
inline constexpr std::size_t cShmMinimumBytes = sizeof(T);

/// Attaches an existing segment as a T, without constructing it, and detaches at the end.
template <class T>
class ShmManagedOpen final : public ShmManaged {
 public:
  explicit ShmManagedOpen(const char* name) : ShmManaged(name) { open(cShmMinimumBytes<T>); }
  ~ShmManagedOpen() override { detach(); }

  /// Maps all its pages at once, for reading: none is written. For who will read all of it.
  void populate() const { ShmManaged::populate(false); }

  /// Null when not attached.
  T* get() const { return static_cast<T*>(address); }
  T* operator->() const { return get(); }
};

/// Creates a segment (an existing one is reused), attaches it and constructs T(name) in it. At the
/// end: destroys T where there is something to run, detaches, removes the segment from the system.
template <class T>
class ShmManagedCreateOpen : public ShmManaged {
 public:
  /// `bytes` at least sizeof(T). An exception of T's constructor passes after the segment has been
  /// removed.
  ShmManagedCreateOpen(const char* name, std::size_t bytes) : ShmManaged(name) {
    createOrOpen(bytes);
    if (address == nullptr) return;
    try {
      new (address) T(name);
    } catch (...) {
      detachAndRemoveOrExit();
      throw;
    }
  }

  ~ShmManagedCreateOpen() override {
    if constexpr (!std::is_trivially_destructible_v<T>) {
      if (address != nullptr && (mEnd == eRemove || mEnd == eTryToRemove)) std::destroy_at(get());
    }
    if (mEnd == eDetach) {
      detach();
    } else if (mEnd == eRemove) {
      detachAndRemoveOrExit();
    } else {
      detachAndTryToRemove();
    }
  }

  /// Makes and maps all its pages at once: no later access meets a page fault.
  void populate() const { ShmManaged::populate(true); }

  /// From here on only detaches at the end: the segment of this name is another's now.
  void abandon() { mEnd = eDetach; }
  /// At the end does not insist on the removal: somebody has done it already.
  void forgiveRemoval() { mEnd = eTryToRemove; }
  /// At the end leaves to another what goes by the name (T's destructor does not run), and removes
  /// the segment itself where it still exists, under a key that the name has lost.
  void leaveToAnother() { mEnd = eLeave; }

  /// Null when not attached.
  T* get() const { return static_cast<T*>(address); }
  T* operator->() const { return get(); }

 private:
  enum eEnd { eRemove, eTryToRemove, eLeave, eDetach };

  eEnd mEnd = eRemove;
};

/// Attaches an existing segment as a T for reading only: makes no key file, and writing faults.
/// Threads: one at a time.
template <class T>
class ShmReadOnly final {
 public:
  explicit ShmReadOnly(const char* name);
  ~ShmReadOnly();
  ShmReadOnly(const ShmReadOnly&) = delete;
  ShmReadOnly& operator=(const ShmReadOnly&) = delete;

  /// Null when there is no such segment, or none that holds a T.
  const T* get() const { return static_cast<const T*>(mAddress); }
  const T* operator->() const { return get(); }

 private:
  const void* mAddress;
};

/// Behind ShmReadOnly: null when the segment is missing, smaller or not readable.
const void* attachReadOnly(const char* name, std::size_t minimumBytes);
void detachReadOnly(const void* address);

template <class T>
ShmReadOnly<T>::ShmReadOnly(const char* name)
    : mAddress(attachReadOnly(name, cShmMinimumBytes<T>)) {}

template <class T>
ShmReadOnly<T>::~ShmReadOnly() {
  detachReadOnly(mAddress);
}

}  // namespace LIPC
