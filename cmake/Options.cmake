# What every target of this project compiles with. Third-party code (cmake/Juce.cmake) takes the
# sanitizers and the visibility, not the warnings.

add_library(lipc_build_options INTERFACE)
target_include_directories(lipc_build_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(lipc_build_options INTERFACE -Wall -Wextra -Wpedantic -Wnon-virtual-dtor
                                                    -Wold-style-cast -Woverloaded-virtual)
if(NOT CMAKE_UNITY_BUILD)
  # Sources that are joined see each other's names.
  target_compile_options(lipc_build_options INTERFACE -Wshadow)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # g++ 12 warns of its own std::string where texts are added (its bug 105651).
  target_compile_options(lipc_build_options INTERFACE -Wno-restrict)
endif()
if(LIPC_WERROR)
  target_compile_options(lipc_build_options INTERFACE -Werror)
endif()

if(LIPC_SANITIZE MATCHES "realtime")
  # The same marks (lipc/util/RealTime.h), followed at compile time.
  target_compile_options(lipc_build_options INTERFACE -Wfunction-effects)
endif()

if(LIPC_SANITIZE)
  add_compile_options(-fsanitize=${LIPC_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${LIPC_SANITIZE})
  if(LIPC_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()

# For folders whose code waits more than it works: under a sanitizer, optimising it takes longer than
# running it.
function(lipc_compile_quickly)
  if(LIPC_SANITIZE MATCHES "address|thread")
    add_compile_options(-O0)
  endif()
endfunction()
