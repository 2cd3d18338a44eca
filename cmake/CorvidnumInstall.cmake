# The package: headers by room, both libraries side by side, a CMake config and pkg-config files.

include(CMakePackageConfigHelpers)

foreach(file IN LISTS CORVIDNUM_PUBLIC_HEADERS CORVIDNUM_HOST_SOURCES ITEMS host/corvid_host.h)
  cmake_path(GET file PARENT_PATH room)
  install(FILES ${PROJECT_SOURCE_DIR}/${file} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/corvidnum/${room})
endforeach()

# The two find each other in the folder where they were put; LD_LIBRARY_PATH still wins over a RUNPATH.
set_target_properties(corvidnum PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS corvidnum corvid EXPORT corvidnum-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/corvidnum)
install(EXPORT corvidnum-targets NAMESPACE corvidnum::
  FILE corvidnumTargets.cmake DESTINATION ${package_dir})
configure_package_config_file(cmake/corvidnumConfig.cmake.in corvidnumConfig.cmake
  INSTALL_DESTINATION ${package_dir} PATH_VARS CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(corvidnumConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/corvidnumConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/corvidnumConfigVersion.cmake
  DESTINATION ${package_dir})

# Relative to the .pc file, so that the installed tree can be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir} OUTPUT_VARIABLE prefix_from_pc)
foreach(library IN ITEMS corvidnum corvid)
  configure_file(cmake/${library}.pc.in ${library}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc DESTINATION ${pkgconfig_dir})
endforeach()
