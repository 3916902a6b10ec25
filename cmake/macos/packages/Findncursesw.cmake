# SPDX-License-Identifier: BSL-1.0
include(${CMAKE_CURRENT_LIST_DIR}/../DebianHeaders.cmake)
debian_headers(ncursesw ncursesw::ncursesw DYNAMIC_LOOKUP DEFINITIONS _XOPEN_SOURCE_EXTENDED=1)
target_include_directories(ncursesw::ncursesw INTERFACE ${CMAKE_BINARY_DIR}/headers/ncursesw)
set(ncursesw_FOUND TRUE)
