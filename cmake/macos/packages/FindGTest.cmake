# SPDX-License-Identifier: BSL-1.0
include(${CMAKE_CURRENT_LIST_DIR}/../DebianHeaders.cmake)
debian_headers(gtest GTest::gtest GTest::gtest_main DYNAMIC_LOOKUP)
set(GTest_FOUND TRUE)
