# The packages for Debian, one for each component; scripts/package builds them. They go into /usr: the preset
# `package` configures for it, since run paths and folders depend on the prefix.

set(debian_revision 1)
set(debian_version ${PROJECT_VERSION}-${debian_revision})
set(library_package ${CORVIDNUM_PACKAGE_OF_runtime})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME corvidnum)
set(CPACK_PACKAGE_VENDOR "Corvid Numerics")
set(CPACK_PACKAGE_CONTACT "Corvid Numerics <packages@corvid-numerics.example.com>")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL ${CORVIDNUM_COMPONENTS})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has a summary of its own
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/triggers.cmake)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${debian_revision})
set(CPACK_DEBIAN_PACKAGE_SOURCE corvidnum)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Needs of the libraries that others bring; what is in the build, dpkg-shlibdeps finds there.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/host)

# Describes the package of a component; the first line of the description is its summary.
function(corvidnum_package component)
  cmake_parse_arguments(arg "" "SECTION;DEPENDS;SUGGESTS;DESCRIPTION" "" ${ARGN})
  string(TOUPPER ${component} name)
  set(CPACK_DEBIAN_${name}_PACKAGE_NAME ${CORVIDNUM_PACKAGE_OF_${component}} PARENT_SCOPE)
  set(CPACK_DEBIAN_${name}_PACKAGE_SECTION ${arg_SECTION} PARENT_SCOPE)
  set(CPACK_DEBIAN_${name}_PACKAGE_DEPENDS "${arg_DEPENDS}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${name}_PACKAGE_SUGGESTS "${arg_SUGGESTS}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${name}_DESCRIPTION "${arg_DESCRIPTION}" PARENT_SCOPE)
endfunction()

set(about "It solves dense, banded and large sparse systems of linear equations,
accelerates fixed-point iterations by dominant eigenvalues, reorders
sparsity patterns, and fits tables. Memory, messages and floating-point
settings are those of the program that loads it.")

corvidnum_package(runtime SECTION libs
  DESCRIPTION "numerics library that a chemical-process simulator loads
libcorvidnum is loaded by a simulator of chemical processes into its own
process. ${about}
.
This package has the library, and libcorvid.so, an open host support library
for programs that do not bring one of their own.")

corvidnum_package(development SECTION libdevel DEPENDS "${library_package} (= ${debian_version})"
  SUGGESTS corvidnum-doc
  DESCRIPTION "numerics library for chemical-process simulators (development files)
libcorvidnum is loaded by a simulator of chemical processes into its own
process. ${about}
.
This package has the headers for C++ and C, the Fortran module, files for CMake
and pkg-config, and examples.")

corvidnum_package(programs SECTION science DEPENDS "${library_package} (>= ${PROJECT_VERSION})"
  DESCRIPTION "solvers of distillation columns, flowsheets and sparse systems
Four programs on top of libcorvidnum. corvidnum-column solves staged
distillation columns and fits vapour pressures, corvidnum-recycle converges
flowsheets with recycles, corvidnum-solve solves sparse systems from Matrix
Market files or tells which equations make them singular, and corvidnum-study
solves many cases of a column or a flowsheet on all processors.
.
Cases to start from are in the documentation folder of this package.")

corvidnum_package(documentation SECTION doc
  DESCRIPTION "numerics library for chemical-process simulators (documentation)
libcorvidnum is loaded by a simulator of chemical processes into its own
process. ${about}
.
This package has the guides, the description of the file format, and the
reference of all public classes and routines.")
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)

# Other packages that link the library need at least the version that they were built with.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

# ---- What Debian wants beside the changelog of the project: that of the package, and why lintian errs
string(TIMESTAMP debian_date "%a, %d %b %Y %H:%M:%S +0000" UTC)  # of SOURCE_DATE_EPOCH, if that is set
configure_file(cmake/debian/changelog.in debian/changelog @ONLY)
corvidnum_gzip(${PROJECT_BINARY_DIR}/debian/changelog ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz)
add_custom_target(corvidnum_debian_changelog ALL DEPENDS ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz)
set(overrides_of_runtime "# A host may have a library of its own of this name, so the soname has no version.
${library_package}: shared-library-lacks-version *libcorvid.so*
${library_package}: lacks-unversioned-link-to-shared-library *libcorvid.so*")
foreach(component IN LISTS CORVIDNUM_COMPONENTS)
  install(FILES ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz DESTINATION ${doc_of_${component}}
    COMPONENT ${component})
  set(package ${CORVIDNUM_PACKAGE_OF_${component}})
  set(overrides_of_component "${overrides_of_${component}}")
  configure_file(cmake/debian/lintian.in debian/lintian/${package} @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/debian/lintian/${package}
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides COMPONENT ${component})
endforeach()

include(CPack)
