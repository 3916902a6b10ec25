# SPDX-License-Identifier: BSL-1.0

# Debian packages and an archive for others: packaging/make. A package for each component of the
# install rules; their names follow Debian's policy, the runtime's its SONAME.

set(CPACK_PACKAGE_NAME lipc)
set(CPACK_PACKAGE_VENDOR "The LIPC developers")
set(CPACK_PACKAGE_CONTACT "The LIPC developers <lipc@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "sessions of a multi-process 3D-audio system")
set(CPACK_PACKAGE_DESCRIPTION
"Panner plug-ins, a mixing engine, a settings client and a host application
meet on one machine in a session: shared memory and named semaphores in which
each participant owns a row, publishes parameters and strings, is connected to
others, and trades audio blocks with the host every few milliseconds.")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development tools module)
set(components RUNTIME DEVELOPMENT TOOLS MODULE)
if(TARGET lipc_mqtt)
  list(APPEND CPACK_COMPONENTS_ALL bridges)
  list(APPEND components BRIDGES)
endif()

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME liblipc${LIPC_SONAME_VERSION})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
"${CPACK_PACKAGE_DESCRIPTION_SUMMARY} (shared library)
${CPACK_PACKAGE_DESCRIPTION}
.
This package has the library with which a participant takes part.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liblipc-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "liblipc${LIPC_SONAME_VERSION} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}), libboost-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"${CPACK_PACKAGE_DESCRIPTION_SUMMARY} (development)
${CPACK_PACKAGE_DESCRIPTION}
.
This package has headers, static libraries, a CMake package and a pkg-config
file for who writes a participant, and the reference host as a library.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME lipc-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "vexo-settings, graphviz")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
"${CPACK_PACKAGE_DESCRIPTION_SUMMARY} (command)
${CPACK_PACKAGE_DESCRIPTION}
.
This package has the command lipc: it shows a session, follows it, finds what
is wrong, mends it, certifies processor libraries, and runs a reference host.")

set(CPACK_DEBIAN_BRIDGES_PACKAGE_NAME lipc-bridges)
set(CPACK_DEBIAN_BRIDGES_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_BRIDGES_PACKAGE_ENHANCES lipc-tools)
set(CPACK_COMPONENT_BRIDGES_DESCRIPTION
"${CPACK_PACKAGE_DESCRIPTION_SUMMARY} (bridges)
${CPACK_PACKAGE_DESCRIPTION}
.
This package has what lipc mqtt runs: it publishes a session on an MQTT broker
and mirrors clients of other machines.")

set(CPACK_DEBIAN_MODULE_PACKAGE_NAME vexo-settings)
set(CPACK_DEBIAN_MODULE_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_MODULE_PACKAGE_ENHANCES lipc-tools)
set(CPACK_COMPONENT_MODULE_DESCRIPTION
"${CPACK_PACKAGE_DESCRIPTION_SUMMARY} (settings)
${CPACK_PACKAGE_DESCRIPTION}
.
This package has the processor library VexoSettings, whose settings client
publishes a machine's settings in the session. A session's host loads it.")

# Debian's own tools write a trigger where CPack writes scripts that call ldconfig.
file(WRITE ${PROJECT_BINARY_DIR}/deb/triggers "activate-noawait ldconfig\n")
file(WRITE ${PROJECT_BINARY_DIR}/deb/shlibs
     "liblipc ${LIPC_SONAME_VERSION} liblipc${LIPC_SONAME_VERSION} (>= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/deb/triggers
                                               ${PROJECT_BINARY_DIR}/deb/shlibs)

# What Debian's policy wants in each package's folder below /usr/share/doc.
find_program(GZIP gzip)
if(GZIP)
  set(changelog ${PROJECT_BINARY_DIR}/changelog.Debian.gz)
  configure_file(packaging/deb/changelog.in ${PROJECT_BINARY_DIR}/changelog.Debian @ONLY)
  add_custom_command(OUTPUT ${changelog}
    COMMAND ${GZIP} -9nkf changelog.Debian
    DEPENDS ${PROJECT_BINARY_DIR}/changelog.Debian
    WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
  add_custom_target(deb_changelog ALL DEPENDS ${changelog})
  foreach(component IN LISTS components)
    string(TOLOWER ${component} folder)
    set(doc ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${component}_PACKAGE_NAME})
    set(copyright copyright)
    if(component MATCHES "MODULE|TOOLS")
      set(copyright copyright.${folder})
    elseif(component STREQUAL "BRIDGES")
      set(copyright copyright.tools)
    endif()
    install(FILES packaging/deb/${copyright} RENAME copyright DESTINATION ${doc} COMPONENT ${folder})
    install(FILES ${changelog} DESTINATION ${doc} COMPONENT ${folder})
  endforeach()
endif()

include(CPack)
