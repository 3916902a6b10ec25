# SPDX-License-Identifier: BSL-1.0

# The tests of the preset `macos`: nothing that it builds can be run, so they read it (./check).

# Sorts the files of what is built in `folder` and below it into `libraries`, `programs` and, of the
# folders tests/ and bench/, `tests`. The module, the lipc command and its bridges are in none of them.
function(collect_files folder)
  get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
  list(REMOVE_ITEM targets VexoSettings lipc_command lipc_jack lipc_mqtt)
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "STATIC_LIBRARY")
      list(APPEND libraries $<TARGET_FILE:${target}>)
    elseif(NOT type MATCHES "^(EXECUTABLE|MODULE_LIBRARY|SHARED_LIBRARY)$")
      continue()
    elseif(folder MATCHES "^${PROJECT_SOURCE_DIR}/(tests|bench)$")
      list(APPEND tests $<TARGET_FILE:${target}>)
    else()
      list(APPEND programs $<TARGET_FILE:${target}>)
    endif()
  endforeach()
  get_property(subfolders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
  foreach(subfolder IN LISTS subfolders)
    collect_files(${subfolder})
  endforeach()
  set(libraries ${libraries} PARENT_SCOPE)
  set(programs ${programs} PARENT_SCOPE)
  set(tests ${tests} PARENT_SCOPE)
endfunction()

set(module $<TARGET_FILE:VexoSettings>)
set(command $<TARGET_FILE:lipc_command>)
set(bridges $<TARGET_FILE:lipc_jack> $<TARGET_FILE:lipc_mqtt>)
set(libraries)
set(programs)
set(tests)
collect_files(${PROJECT_SOURCE_DIR})

function(macos_test name)
  add_test(NAME macos.${name} COMMAND ${PROJECT_SOURCE_DIR}/cmake/macos/check ${ARGN})
endfunction()

macos_test(EverySourceAndHeaderIsCompiled
           sources ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR} ${CMAKE_MAKE_PROGRAM})
macos_test(EverythingIsMachOForX86_64 format ${module} ${command} ${bridges} ${libraries} ${programs} ${tests})
macos_test(WhatIsInstalledBuildsTheParticipantOfTheReadme
           install ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR})
macos_test(TheModuleExportsItsFiveFunctionsAndNothingElse
           exports ${module} createProcessor getLIPCVersion getClientType loadLibrary unloadLibrary)
macos_test(TheModuleCarriesTheLayouts contains ${module} "VexoMax 26.1" "BrFC" "Vexo_6_0_Quad")
# JUCE's modules need Apple's frameworks, and the libraries of the command, the tests and the benchmarks
# are compiled for Linux only.
macos_test(TheModuleLeavesNothingOpenButJUCE lookups "juce" ${module})
macos_test(TheProgramsLeaveNothingOpen lookups "-" ${programs})
set(ncurses "/usr/lib/x86_64-linux-gnu/libncursesw.so.6 /usr/lib/x86_64-linux-gnu/libtinfo.so.6")
macos_test(TheCommandLeavesOnlyCursesAndTheHTTPServerOpen lookups "httplib ${ncurses}" ${command})
set(servers)
foreach(library jack.so.0 samplerate.so.0 mosquitto.so.1)
  string(APPEND servers " /usr/lib/x86_64-linux-gnu/lib${library}")
endforeach()
macos_test(TheBridgesLeaveOnlyThatAndTheirServersLibrariesOpen
           lookups "httplib ${ncurses}${servers}" ${bridges})
macos_test(TestsAndBenchmarksLeaveOnlyTheirPackagesOpen
           lookups "juce testing boost benchmark main httplib ${ncurses}${servers}" ${tests})
