# SPDX-License-Identifier: BSL-1.0
include(${CMAKE_CURRENT_LIST_DIR}/../DebianHeaders.cmake)
debian_headers(httplib.h httplib::httplib DYNAMIC_LOOKUP)
set(httplib_FOUND TRUE)
