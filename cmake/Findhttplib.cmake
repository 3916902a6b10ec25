# SPDX-License-Identifier: BSL-1.0

# httplib::httplib, the HTTP server: by its own CMake package where it has one, otherwise (Debian,
# Homebrew) by its pkg-config file, whose definitions say how the library was compiled.
find_package(httplib CONFIG QUIET)
if(NOT TARGET httplib::httplib)
  find_package(PkgConfig QUIET)
  if(PKG_CONFIG_FOUND)
    pkg_check_modules(cpp_httplib QUIET IMPORTED_TARGET GLOBAL cpp-httplib)
  endif()
  if(TARGET PkgConfig::cpp_httplib)
    add_library(httplib::httplib ALIAS PkgConfig::cpp_httplib)
  endif()
endif()
if(TARGET httplib::httplib)
  set(httplib_FOUND TRUE)
elseif(httplib_FIND_REQUIRED)
  message(FATAL_ERROR "cpp-httplib was not found. Install the packages libcpp-httplib-dev and "
                      "pkg-config, or build without the command: -DLIPC_BUILD_TOOLS=OFF.")
endif()
