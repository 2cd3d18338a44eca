# BLAS and LAPACK, as the targets BLAS::BLAS and LAPACK::LAPACK.

if(WIN32)
  # One file has both, under the one name `lapack`: the import library of a DLL (OpenBLAS, say, or the reference
  # LAPACK), or an archive, which becomes part of corvidnum.dll.
  find_library(CORVIDNUM_LAPACK NAMES lapack REQUIRED DOC "BLAS and LAPACK: an import library or an archive")
  foreach(package IN ITEMS BLAS LAPACK)
    add_library(${package}::${package} UNKNOWN IMPORTED)
    set_target_properties(${package}::${package} PROPERTIES IMPORTED_LOCATION ${CORVIDNUM_LAPACK})
  endforeach()
  return()
endif()

# Generic names the distribution's current choice, so that OpenBLAS and the reference libraries can take each
# other's place without a rebuild.
if(NOT DEFINED BLA_VENDOR)
  set(BLA_VENDOR Generic)
endif()
find_package(BLAS REQUIRED)
find_package(LAPACK REQUIRED)
