// SPDX-License-Identifier: BSL-1.0
#include "host/ProcessorLibrary.h"

#include <cstdlib>
#include <exception>

#include <dlfcn.h>

#include "lipc/session/SessionNames.h"

namespace host {
namespace {

constexpr char cProcessorName[] = "lipc host";

/// dlopen searches the library path for a name without a slash; a user means the file.
std::string asFile(const std::string& path) {
  return path.find('/') == std::string::npos ? "./" + path : path;
}

}  // namespace

void ProcessorLibrary::CloseLibrary::operator()(void* handle) const {
  dlclose(handle);
}

ProcessorLibrary::ProcessorLibrary(const std::string& path)
    : mPath(path), mHandle(dlopen(asFile(path).c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (!mHandle) {
    throw LibraryError("The library " + path + " cannot be loaded: " + dlerror() + ".");
  }
  const auto version = find<int (*)()>("getLIPCVersion");
  const auto type = find<int (*)()>("getClientType");
  find<void (*)()>("loadLibrary");
  find<void (*)()>("unloadLibrary");
  find<LIPC::AudioProcessor* (*)(const char*)>("createProcessor");
  if (const int is = version(); is != static_cast<int>(LIPC::cProtocolVersion)) {
    throw LibraryError("The library " + path + " has LIPC version " + std::to_string(is) +
                       "; this host takes version " + std::to_string(LIPC::cProtocolVersion) + ".");
  }
  mClientType = static_cast<std::uint32_t>(type());
  try {
    start();
  } catch (const std::exception& error) {
    unloadAndThrow(error.what());
  } catch (...) {
    unloadAndThrow("an exception of unknown type");
  }
}

void ProcessorLibrary::unloadAndThrow(const char* reason) {
  if (mUnloadLibrary != nullptr) mUnloadLibrary();
  throw LibraryError("The library " + mPath + " failed while it was started: " + reason + ".");
}

void ProcessorLibrary::start() {
  find<void (*)()>("loadLibrary")();
  mUnloadLibrary = find<void (*)()>("unloadLibrary");
  mProcessor.reset(find<LIPC::AudioProcessor* (*)(const char*)>("createProcessor")(cProcessorName));
  if (!mProcessor) throw std::runtime_error("createProcessor gave no processor");
}

ProcessorLibrary::~ProcessorLibrary() {
  mProcessor.reset();
  mUnloadLibrary();
}

template <class Function>
Function ProcessorLibrary::find(const char* name) const {
  void* symbol = dlsym(mHandle.get(), name);
  if (symbol == nullptr) {
    throw LibraryError("The library " + mPath + " is no processor library: it lacks the function " +
                       name + ".");
  }
  return reinterpret_cast<Function>(symbol);
}

}  // namespace host
