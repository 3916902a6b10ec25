# SPDX-License-Identifier: BSL-1.0
include(${CMAKE_CURRENT_LIST_DIR}/../DebianHeaders.cmake)
debian_headers(nlohmann nlohmann_json::nlohmann_json)
set(nlohmann_json_FOUND TRUE)
