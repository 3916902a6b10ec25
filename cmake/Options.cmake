# SPDX-License-Identifier: BSL-1.0
include(GNUInstallDirs)

# What every target of this project compiles with, and nobody who uses it.

include_directories(${PROJECT_SOURCE_DIR})
add_compile_options(-Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Wold-style-cast
                    -Woverloaded-virtual)
if(NOT CMAKE_UNITY_BUILD)
  add_compile_options(-Wshadow)  # sources that are joined see each other's names
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # g++ 12 warns of its own std::string where texts are added (its bug 105651).
  add_compile_options(-Wno-restrict)
endif()
if(LIPC_WERROR)
  add_compile_options(-Werror)
endif()

if(LIPC_SANITIZE MATCHES "realtime")
  # The same marks (lipc/util/RealTime.h), followed at compile time.
  add_compile_options(-Wfunction-effects)
endif()

if(LIPC_SANITIZE)
  add_compile_options(-fsanitize=${LIPC_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${LIPC_SANITIZE})
  if(LIPC_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()

# For folders whose code waits more than it works: optimising it takes longer than running it. What is
# shipped is compiled so under a sanitizer only.
function(lipc_compile_quickly)
  if(LIPC_SANITIZE MATCHES "address|thread")
    add_compile_options(-O0)
  elseif(NOT CMAKE_CROSSCOMPILING AND CMAKE_CURRENT_SOURCE_DIR STREQUAL "${PROJECT_SOURCE_DIR}/tests")
    add_compile_options(-O1)
  endif()
endfunction()
