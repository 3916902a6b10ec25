# SPDX-License-Identifier: BSL-1.0

# ncursesw::ncursesw, curses for wide characters: <curses.h> on every system. The one that macOS has
# is wide under its plain name.
find_path(NCURSESW_INCLUDE_DIR curses.h)
if(APPLE)
  find_library(NCURSESW_LIBRARY ncurses)
else()
  find_library(NCURSESW_LIBRARY ncursesw)
endif()
mark_as_advanced(NCURSESW_INCLUDE_DIR NCURSESW_LIBRARY)
if(NCURSESW_INCLUDE_DIR AND NCURSESW_LIBRARY)
  set(ncursesw_FOUND TRUE)
  if(NOT TARGET ncursesw::ncursesw)
    add_library(ncursesw::ncursesw INTERFACE IMPORTED GLOBAL)
    target_include_directories(ncursesw::ncursesw INTERFACE ${NCURSESW_INCLUDE_DIR})
    target_link_libraries(ncursesw::ncursesw INTERFACE ${NCURSESW_LIBRARY})
    # Without it the header hides what takes wide characters.
    target_compile_definitions(ncursesw::ncursesw INTERFACE _XOPEN_SOURCE_EXTENDED=1)
  endif()
elseif(ncursesw_FIND_REQUIRED)
  message(FATAL_ERROR "ncurses for wide characters was not found. Install the package "
                      "libncurses-dev, or build without the command: -DLIPC_BUILD_TOOLS=OFF.")
endif()
