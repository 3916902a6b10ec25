# SPDX-License-Identifier: BSL-1.0

# Install rules: libraries with their headers, a CMake package, a pkg-config file, and of what is
# built besides them the module, the command, its man pages and its completion.
#
# Components: runtime (the shared library), development, tools, bridges, module.

include(CMakePackageConfigHelpers)
include(cmake/PublicHeaders.cmake)

foreach(header IN LISTS LIPC_PUBLIC_HEADERS LIPC_TABLES_PUBLIC_HEADERS LIPC_HOST_PUBLIC_HEADERS)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder} COMPONENT development)
endforeach()

set_target_properties(lipc_tables PROPERTIES EXPORT_NAME tables)
set_target_properties(lipc_inspect PROPERTIES EXPORT_NAME inspect)
set_target_properties(lipc_host PROPERTIES EXPORT_NAME host)
set(libraries lipc lipc_tables lipc_inspect lipc_host)
if(TARGET lipc_shared)
  list(APPEND libraries lipc_shared)
endif()
install(TARGETS ${libraries} EXPORT lipc
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
        NAMELINK_COMPONENT development)

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/lipc)
install(EXPORT lipc NAMESPACE lipc:: FILE lipcTargets.cmake DESTINATION ${package}
        COMPONENT development)
configure_package_config_file(cmake/lipcConfig.cmake.in ${PROJECT_BINARY_DIR}/lipcConfig.cmake
                              INSTALL_DESTINATION ${package})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/lipcConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/lipcConfig.cmake ${PROJECT_BINARY_DIR}/lipcConfigVersion.cmake
        DESTINATION ${package} COMPONENT development)

if(APPLE)
  set(LIPC_SYSTEM_LIBRARIES "")
else()
  set(LIPC_SYSTEM_LIBRARIES "-lrt -ldl -pthread")
endif()
# An installed tree may be moved.
file(RELATIVE_PATH LIPC_PREFIX_OF_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/lipc.pc.in ${PROJECT_BINARY_DIR}/lipc.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/lipc.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)

install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
if(TARGET lipc_command OR TARGET VexoSettings)
  install(FILES packaging/licences/NOTICES DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tools)
endif()
if(TARGET VexoSettings)
  install(FILES packaging/licences/GPL-3.txt DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT module)
endif()

if(TARGET VexoSettings)
  install(TARGETS VexoSettings LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/lipc COMPONENT module)
endif()

foreach(bridge lipc_jack lipc_mqtt)
  if(TARGET ${bridge})
    install(TARGETS ${bridge} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT bridges)
  endif()
endforeach()

if(TARGET lipc_command)
  install(TARGETS lipc_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  if(TARGET packed_man)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}
            COMPONENT tools FILES_MATCHING PATTERN "*.1.gz")
  endif()
  if(NOT CMAKE_CROSSCOMPILING)
    set(completion ${PROJECT_BINARY_DIR}/completion)
    foreach(shell bash zsh fish)
      add_custom_command(OUTPUT ${completion}/${shell}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${completion}
        COMMAND lipc_command completion ${shell} > ${completion}/${shell}
        DEPENDS lipc_command
        VERBATIM)
    endforeach()
    add_custom_target(completion ALL DEPENDS ${completion}/bash ${completion}/zsh ${completion}/fish)
    install(FILES ${completion}/bash RENAME lipc COMPONENT tools
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    install(FILES ${completion}/zsh RENAME _lipc COMPONENT tools
            DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
    install(FILES ${completion}/fish RENAME lipc.fish COMPONENT tools
            DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
  endif()
endif()
