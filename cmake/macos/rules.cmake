# SPDX-License-Identifier: BSL-1.0

# Read after CMake's own rules for the platform.
set(CMAKE_SHARED_LIBRARY_RUNTIME_C_FLAG "-Wl,-rpath,")
