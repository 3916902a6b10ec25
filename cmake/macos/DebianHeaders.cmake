# SPDX-License-Identifier: BSL-1.0

# debian_headers(NAME TARGET... [DYNAMIC_LOOKUP] [DEFINITIONS ...])
#
# Makes each TARGET the headers in the folder /usr/include/NAME, or the one header of that name, and,
# with DYNAMIC_LOOKUP, leaves the package's symbols to the dynamic linker: Debian compiles its
# libraries for Linux only. NAME is linked into the build tree, because /usr/include itself has
# glibc's headers.
include_guard()

function(debian_headers name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "DYNAMIC_LOOKUP" "" "DEFINITIONS")
  if(NOT EXISTS /usr/include/${name})
    message(FATAL_ERROR "There is no /usr/include/${name}: install its Debian package.")
  endif()
  set(headers ${CMAKE_BINARY_DIR}/headers)
  file(MAKE_DIRECTORY ${headers})
  file(CREATE_LINK /usr/include/${name} ${headers}/${name} SYMBOLIC)
  foreach(target IN LISTS arg_UNPARSED_ARGUMENTS)
    if(TARGET ${target})
      continue()
    endif()
    add_library(${target} INTERFACE IMPORTED GLOBAL)
    target_include_directories(${target} INTERFACE ${headers})
    target_compile_definitions(${target} INTERFACE ${arg_DEFINITIONS})
    if(arg_DYNAMIC_LOOKUP)
      target_link_options(${target} INTERFACE "LINKER:-undefined,dynamic_lookup")
    endif()
  endforeach()
endfunction()
