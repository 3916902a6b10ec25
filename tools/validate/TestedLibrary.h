// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include "lipc/AudioProcessor.h"
#include "tools/validate/Checks.h"

namespace tools::validate {

/// The library under test. Every call is announced as a step, and an exception out of it fails the
/// check.
///
/// Threads: the check's own.
class TestedLibrary {
 public:
  /// Loads the file and finds the five functions. `prefix` stands before the steps' names.
  explicit TestedLibrary(Context& context, std::string prefix = {});
  /// As `close`.
  ~TestedLibrary();
  TestedLibrary(const TestedLibrary&) = delete;
  TestedLibrary& operator=(const TestedLibrary&) = delete;

  int version();
  std::uint32_t type();
  void load();
  void unload();
  /// Never null.
  std::unique_ptr<LIPC::AudioProcessor> createProcessor(const char* name);
  /// Calls unloadLibrary if loadLibrary was called last, then unloads the file.
  void close();

  /// Announces `name` and calls `function`.
  template <class Function>
  auto call(const std::string& name, const Function& function) {
    mContext.reporter.step(mPrefix + name, mContext.callTime);
    std::string thrown = "an exception of unknown type";
    try {
      return function();
    } catch (const CheckEnded&) {
      throw;
    } catch (const std::exception& error) {
      thrown = std::string("the exception \"") + error.what() + "\"";
    } catch (...) {
    }
    failThrown(name, thrown);
  }

 private:
  [[noreturn]] void failThrown(const std::string& name, const std::string& thrown);
  template <class Function>
  Function find(const char* name) const;

  Context& mContext;
  const std::string mPrefix;
  void* mHandle = nullptr;
  bool mIsLoaded = false;
};

/// The names of the exported functions that the file lacks. The steps of dlopen alone.
std::string missingFunctions(Context& context);

}  // namespace tools::validate
