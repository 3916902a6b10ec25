# SPDX-License-Identifier: BSL-1.0

# Debian's Boost 1.74 still derives from std::unary_function, which libc++ has only on demand.
include(${CMAKE_CURRENT_LIST_DIR}/../DebianHeaders.cmake)
set(definition DEFINITIONS _LIBCPP_ENABLE_CXX17_REMOVED_UNARY_BINARY_FUNCTION)
debian_headers(boost Boost::headers ${definition})
foreach(component IN LISTS Boost_FIND_COMPONENTS)
  debian_headers(boost Boost::${component} DYNAMIC_LOOKUP ${definition})
endforeach()
set(Boost_FOUND TRUE)
