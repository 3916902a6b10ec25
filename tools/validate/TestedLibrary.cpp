// SPDX-License-Identifier: BSL-1.0
#include "tools/validate/TestedLibrary.h"

#include <utility>

#include <dlfcn.h>

namespace tools::validate {
namespace {

constexpr const char* cFunctions[] = {"getLIPCVersion", "getClientType", "loadLibrary",
                                      "createProcessor", "unloadLibrary"};

/// dlopen searches the library path for a name without a slash; a user means the file.
void* openOrFail(Context& context, const std::string& prefix = {}) {
  const std::string& path = context.library;
  const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
  context.reporter.step(prefix + "dlopen", context.callTime);
  void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    context.reporter.failUnloadable(
        std::string("the file cannot be loaded: ") + dlerror() + ".",
        "Build it as a loadable module for this system, and see that the libraries that it needs "
        "are found.");
  }
  return handle;
}

std::string missingIn(void* handle) {
  std::string missing;
  for (const char* name : cFunctions) {
    if (dlsym(handle, name) == nullptr)
      missing += (missing.empty() ? "" : ", ") + std::string(name);
  }
  return missing;
}

}  // namespace

std::string missingFunctions(Context& context) {
  void* const handle = openOrFail(context);
  std::string missing = missingIn(handle);
  context.reporter.step("dlclose", context.callTime);
  dlclose(handle);
  return missing;
}

TestedLibrary::TestedLibrary(Context& context, std::string prefix)
    : mContext(context), mPrefix(std::move(prefix)), mHandle(openOrFail(context, mPrefix)) {
  if (const std::string missing = missingIn(mHandle); !missing.empty()) {
    dlclose(mHandle);
    context.reporter.fail("the library lacks " + missing + ".", "See the check \"functions\".");
  }
}

TestedLibrary::~TestedLibrary() {
  close();
}

void TestedLibrary::close() {
  if (mHandle == nullptr) return;
  if (mIsLoaded) unload();
  mContext.reporter.step(mPrefix + "dlclose", mContext.callTime);
  dlclose(std::exchange(mHandle, nullptr));
}

template <class Function>
Function TestedLibrary::find(const char* name) const {
  return reinterpret_cast<Function>(dlsym(mHandle, name));
}

int TestedLibrary::version() {
  return call("getLIPCVersion", find<int (*)()>("getLIPCVersion"));
}

std::uint32_t TestedLibrary::type() {
  return static_cast<std::uint32_t>(call("getClientType", find<int (*)()>("getClientType")));
}

void TestedLibrary::load() {
  call("loadLibrary", find<void (*)()>("loadLibrary"));
  mIsLoaded = true;
}

void TestedLibrary::unload() {
  mIsLoaded = false;
  call("unloadLibrary", find<void (*)()>("unloadLibrary"));
}

std::unique_ptr<LIPC::AudioProcessor> TestedLibrary::createProcessor(const char* name) {
  const auto create = find<LIPC::AudioProcessor* (*)(const char*)>("createProcessor");
  std::unique_ptr<LIPC::AudioProcessor> processor(
      call("createProcessor", [&] { return create(name); }));
  if (!processor)
    mContext.reporter.fail("createProcessor gave no processor.", "Return a new one at each call.");
  return processor;
}

void TestedLibrary::failThrown(const std::string& name, const std::string& thrown) {
  mContext.reporter.fail(thrown + " came out of " + name + ".",
                         "Catch it inside the library: no host expects one.");
}

}  // namespace tools::validate
