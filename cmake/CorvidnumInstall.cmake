# What is installed, in four components, of which the packages are made:
#   runtime        both libraries
#   development    headers, the CMake and pkg-config files, the Fortran module, examples, the page libcorvidnum(7)
#   programs       the programs, their manual pages, cases, matrices and studies, completion for bash
#   documentation  the documents, and the site that scripts/docs builds, if it was built before
# Each brings the licence and the changelog into the documentation folder of its package.

include(CMakePackageConfigHelpers)

set(CORVIDNUM_PACKAGE_OF_runtime libcorvidnum${PROJECT_VERSION_MAJOR})
set(CORVIDNUM_PACKAGE_OF_development libcorvidnum-dev)
set(CORVIDNUM_PACKAGE_OF_programs corvidnum-programs)
set(CORVIDNUM_PACKAGE_OF_documentation corvidnum-doc)
set(CORVIDNUM_COMPONENTS runtime development documentation)
if(CORVIDNUM_BUILD_APPS)
  list(APPEND CORVIDNUM_COMPONENTS programs)
endif()
set(CORVIDNUM_SITE ${PROJECT_SOURCE_DIR}/build/site CACHE PATH "Folder of the built documentation, installed if there")

foreach(component IN LISTS CORVIDNUM_COMPONENTS)
  set(doc_of_${component} ${CMAKE_INSTALL_DATAROOTDIR}/doc/${CORVIDNUM_PACKAGE_OF_${component}})
endforeach()

# corvidnum_gzip(<source> <target>): compresses a file in the build, the same way each time.
find_program(CORVIDNUM_GZIP gzip REQUIRED)
function(corvidnum_gzip source target)
  add_custom_command(OUTPUT ${target} DEPENDS ${source} VERBATIM
    COMMAND ${CORVIDNUM_GZIP} --best --no-name --stdout ${source} > ${target})
endfunction()

# ---- The libraries

# corvidnum_run_path(<path> <target>...): the loader finds what is in /usr by itself. Elsewhere, the targets find the
# libraries by where they stand themselves; LD_LIBRARY_PATH still wins over a RUNPATH.
function(corvidnum_run_path path)
  if(NOT WIN32 AND NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set_target_properties(${ARGN} PROPERTIES INSTALL_RPATH ${path})
  endif()
endfunction()

corvidnum_run_path("$ORIGIN" corvidnum)
install(TARGETS corvidnum corvid EXPORT corvidnum-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  # Windows: the DLLs stand with the programs, their import libraries with what is for development.
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
if(WIN32)
  # From it, any compiler's tools make an import library of their own.
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/corvidnum.def
    DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
endif()

# ---- For development

foreach(file IN LISTS CORVIDNUM_PUBLIC_HEADERS CORVIDNUM_HOST_SOURCES ITEMS host/corvid_host.h)
  cmake_path(GET file PARENT_PATH room)
  install(FILES ${PROJECT_SOURCE_DIR}/${file}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/corvidnum/${room} COMPONENT development)
endforeach()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/corvidnum)
install(EXPORT corvidnum-targets NAMESPACE corvidnum::
  FILE corvidnumTargets.cmake DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(cmake/corvidnumConfig.cmake.in corvidnumConfig.cmake
  INSTALL_DESTINATION ${package_dir} PATH_VARS CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(corvidnumConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/corvidnumConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/corvidnumConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)

# Relative to the .pc file, so that the installed tree can be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir} OUTPUT_VARIABLE prefix_from_pc)
foreach(library IN ITEMS corvidnum corvid)
  configure_file(cmake/${library}.pc.in ${library}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc DESTINATION ${pkgconfig_dir} COMPONENT development)
endforeach()

install(DIRECTORY examples/ DESTINATION ${doc_of_development}/examples COMPONENT development)

# ---- Programs

if(CORVIDNUM_BUILD_APPS)
  set(programs corvidnum-column corvidnum-recycle corvidnum-solve)
  set(examples column/cases column/data recycle/cases solve/matrices)
  if(CORVIDNUM_BUILD_STUDY)
    list(APPEND programs corvidnum-study)
    list(APPEND examples study/studies)
  endif()
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR
    BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR} OUTPUT_VARIABLE libraries_from_programs)
  corvidnum_run_path("$ORIGIN/${libraries_from_programs}" ${programs})
  install(TARGETS ${programs} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT programs)
  foreach(cases IN LISTS examples)
    cmake_path(GET cases PARENT_PATH program)
    install(DIRECTORY apps/${cases} DESTINATION ${doc_of_programs}/examples/${program} COMPONENT programs)
  endforeach()
  # One file completes all programs; bash looks for it by the name of the one that is typed.
  if(UNIX AND EXISTS ${PROJECT_SOURCE_DIR}/apps/completion/corvidnum)
    foreach(program IN LISTS programs)
      install(FILES apps/completion/corvidnum RENAME ${program}
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions COMPONENT programs)
    endforeach()
  endif()
endif()
if(UNIX)
  add_subdirectory(docs/man)
endif()

# ---- Documents

foreach(component IN LISTS CORVIDNUM_COMPONENTS)
  install(FILES LICENSE RENAME copyright DESTINATION ${doc_of_${component}} COMPONENT ${component})
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz DESTINATION ${doc_of_${component}} COMPONENT ${component})
endforeach()
corvidnum_gzip(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz)
add_custom_target(corvidnum_changelog ALL DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz)
install(FILES README.md DESTINATION ${doc_of_documentation} COMPONENT documentation)
install(DIRECTORY docs DESTINATION ${doc_of_documentation} COMPONENT documentation FILES_MATCHING
  PATTERN "*.md" PATTERN "*.svg" PATTERN "*.png" PATTERN "man" EXCLUDE)
install(DIRECTORY ${CORVIDNUM_SITE}/ DESTINATION ${doc_of_documentation}/html COMPONENT documentation OPTIONAL)
