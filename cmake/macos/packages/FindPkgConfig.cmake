# SPDX-License-Identifier: BSL-1.0

# What the bridges ask pkg-config for.
include(${CMAKE_CURRENT_LIST_DIR}/../DebianHeaders.cmake)

function(pkg_check_modules target)
  set(headers_of_jack jack)
  set(headers_of_samplerate samplerate.h)
  set(headers_of_libmosquitto mosquitto.h mqtt_protocol.h)
  foreach(module IN LISTS ARGN)
    foreach(header IN LISTS headers_of_${module})
      debian_headers(${header} PkgConfig::${target} DYNAMIC_LOOKUP)
    endforeach()
  endforeach()
endfunction()
set(PKG_CONFIG_FOUND TRUE)
set(PkgConfig_FOUND TRUE)
