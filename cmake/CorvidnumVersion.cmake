# Reads the version from corvidnum_version.h, where alone it is written down.

file(STRINGS ${CMAKE_CURRENT_SOURCE_DIR}/corvidnum_version.h CORVIDNUM_VERSION
  REGEX "^#define CORVIDNUM_VERSION_(MAJOR|MINOR|PATCH) [0-9]+$")
list(TRANSFORM CORVIDNUM_VERSION REPLACE "^.* " "")
list(JOIN CORVIDNUM_VERSION "." CORVIDNUM_VERSION)
if(NOT CORVIDNUM_VERSION MATCHES "^[0-9]+\\.[0-9]+\\.[0-9]+$")
  message(FATAL_ERROR "corvidnum_version.h does not define major, minor and patch number in this order")
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/corvidnum_version.h)
