// A processor library with a fault that is chosen when it is compiled: VERSION is its version, a
// definition renames the function that it shall lack, and its createProcessor always throws. The
// environment says PROCESSOR_LIBRARY between loadLibrary and unloadLibrary.
#include <cstdlib>
#include <stdexcept>

#define EXPORTED extern "C" __attribute__((visibility("default")))

// clang-format off
EXPORTED int getLIPCVersion() { return VERSION; }
EXPORTED int getClientType() { return 0; }
EXPORTED void loadLibrary() { setenv("PROCESSOR_LIBRARY", "is loaded", 1); }
EXPORTED void* createProcessor(const char*) { throw std::runtime_error("on purpose"); }
EXPORTED void unloadLibrary() { unsetenv("PROCESSOR_LIBRARY"); }
