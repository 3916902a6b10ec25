# SPDX-License-Identifier: BSL-1.0
include(${CMAKE_CURRENT_LIST_DIR}/../DebianHeaders.cmake)
debian_headers(fmt fmt::fmt DEFINITIONS FMT_HEADER_ONLY=1)
set(fmt_FOUND TRUE)
