# SPDX-License-Identifier: BSL-1.0

# JUCE's core, events and data-structures modules, compiled from Debian's juce-modules-source-data
# (or from any other copy of JUCE's modules folder: -DLIPC_JUCE_MODULES=PATH) as a target of their
# own with hidden symbols. Only settings/ links it. With LIPC_JUCE_HEADERS_ONLY the target is JUCE's
# headers, and its symbols are left to the dynamic linker: where Apple's frameworks are missing, its
# modules cannot be compiled for macOS.

find_path(LIPC_JUCE_MODULES juce_core/juce_core.h
          PATHS /usr/share/juce/modules
          DOC "JUCE's modules folder (Debian: package juce-modules-source-data)" NO_DEFAULT_PATH)
if(NOT LIPC_JUCE_MODULES)
  message(FATAL_ERROR "JUCE's modules were not found. Install the package juce-modules-source-data, "
                      "or say where they are with -DLIPC_JUCE_MODULES=PATH.")
endif()

if(LIPC_JUCE_HEADERS_ONLY)
  set(scope INTERFACE)
  add_library(lipc_juce INTERFACE)
  target_link_options(lipc_juce INTERFACE "LINKER:-undefined,dynamic_lookup")
else()
  set(scope PUBLIC)
  if(APPLE)
    enable_language(OBJCXX)
    set(juce_suffix mm)
  else()
    set(juce_suffix cpp)
  endif()
  add_library(lipc_juce STATIC
    ${LIPC_JUCE_MODULES}/juce_core/juce_core.${juce_suffix}
    ${LIPC_JUCE_MODULES}/juce_events/juce_events.${juce_suffix}
    ${LIPC_JUCE_MODULES}/juce_data_structures/juce_data_structures.${juce_suffix})
  # It reads one small file: to optimise it more takes a minute and gains nothing.
  if(LIPC_SANITIZE)
    target_compile_options(lipc_juce PRIVATE -w -O0)
  else()
    target_compile_options(lipc_juce PRIVATE -w -O1)
  endif()
  set_target_properties(lipc_juce PROPERTIES UNITY_BUILD OFF)
  target_link_libraries(lipc_juce PUBLIC Threads::Threads ${CMAKE_DL_LIBS})
  if(APPLE)
    target_link_libraries(lipc_juce PUBLIC "-framework Foundation" "-framework Cocoa"
                                           "-framework IOKit" "-framework Security")
  else()
    find_package(ZLIB REQUIRED)
    target_link_libraries(lipc_juce PUBLIC rt ZLIB::ZLIB)
  endif()
endif()

target_include_directories(lipc_juce SYSTEM ${scope} ${LIPC_JUCE_MODULES})
target_compile_definitions(lipc_juce ${scope}
  JUCE_GLOBAL_MODULE_SETTINGS_INCLUDED=1
  JUCE_STANDALONE_APPLICATION=0
  JUCE_USE_CURL=0
  JUCE_WEB_BROWSER=0
  JUCE_MODULE_AVAILABLE_juce_core=1
  JUCE_MODULE_AVAILABLE_juce_events=1
  JUCE_MODULE_AVAILABLE_juce_data_structures=1
  $<IF:$<CONFIG:Debug>,DEBUG=1,NDEBUG=1>)
