# SPDX-License-Identifier: BSL-1.0

# Cross-compiles for macOS x86-64 on Debian x86-64, with what ./setup has put into build/zig.

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_SYSTEM_VERSION 20)  # Darwin's number for macOS 11

set(CMAKE_CXX_COMPILER ${CMAKE_CURRENT_LIST_DIR}/c++)
find_program(CMAKE_AR llvm-ar REQUIRED)
find_program(CMAKE_RANLIB llvm-ranlib REQUIRED)
find_program(CMAKE_INSTALL_NAME_TOOL NAMES llvm-install-name-tool llvm-install-name-tool-14 REQUIRED)

# Shared libraries are found by @rpath: rules.cmake says so where CMake would ask the Mac that it runs on.
set(CMAKE_USER_MAKE_RULES_OVERRIDE_CXX ${CMAKE_CURRENT_LIST_DIR}/rules.cmake)

# Of the packages that are installed here only headers serve for macOS, and /usr/include has glibc's
# among them: packages/ has a find module for each that the build asks for, and nothing else counts.
list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR}/packages)
set(CMAKE_FIND_ROOT_PATH ${CMAKE_CURRENT_LIST_DIR}/packages)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
