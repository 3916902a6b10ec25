# SPDX-License-Identifier: BSL-1.0
include(${CMAKE_CURRENT_LIST_DIR}/../DebianHeaders.cmake)
debian_headers(benchmark benchmark::benchmark DYNAMIC_LOOKUP)
set(benchmark_FOUND TRUE)
