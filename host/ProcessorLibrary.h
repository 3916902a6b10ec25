// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include "lipc/AudioProcessor.h"

namespace host {

/// A processor library that cannot be used; the text is a whole sentence that names the file and
/// the cause.
/// @ingroup host
class LibraryError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A loaded processor library and one processor of it. The end of this object destroys the
/// processor, then calls the library's unloadLibrary, then unloads it.
///
/// Threads: constructed and destroyed on one thread; the processor belongs to the host's cycle.
///
/// @ingroup host
class ProcessorLibrary {
 public:
  /// Loads the library, checks its five functions and its version, calls loadLibrary and makes a
  /// processor. Throws LibraryError.
  /// `path` without a slash is a file of the working directory.
  explicit ProcessorLibrary(const std::string& path);
  ~ProcessorLibrary();
  ProcessorLibrary(const ProcessorLibrary&) = delete;
  ProcessorLibrary& operator=(const ProcessorLibrary&) = delete;

  /// As it was given.
  const std::string& path() const { return mPath; }
  /// What getClientType answered: a four-character code.
  std::uint32_t clientType() const { return mClientType; }
  /// The one processor; good as long as this object.
  LIPC::AudioProcessor& processor() { return *mProcessor; }

 private:
  struct CloseLibrary {
    void operator()(void* handle) const;
  };

  template <class Function>
  Function find(const char* name) const;
  void start();
  [[noreturn]] void unloadAndThrow(const char* reason);

  std::string mPath;
  std::unique_ptr<void, CloseLibrary> mHandle;
  void (*mUnloadLibrary)() = nullptr;  // set once loadLibrary was called
  std::uint32_t mClientType = 0;
  std::unique_ptr<LIPC::AudioProcessor> mProcessor;
};

}  // namespace host
