# SPDX-License-Identifier: BSL-1.0
include(${CMAKE_CURRENT_LIST_DIR}/../DebianHeaders.cmake)
debian_headers(CLI CLI11::CLI11)
set(CLI11_FOUND TRUE)
