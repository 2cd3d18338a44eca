# The package for Windows: one archive with all that is installed, to be unpacked anywhere.

# The DLLs and programs hold code of others, whose licences want to go along: those of Debian's packages that the code
# comes from. libblas-dev and liblapack-dev are of the same sources as the archive that scripts/windows_lapack builds.
set(CORVIDNUM_LICENCES_FROM /usr/share/doc CACHE PATH "Folder with the licences of Debian's packages")
set(notices ${PROJECT_BINARY_DIR}/THIRD-PARTY-NOTICES.txt)
set(text "corvidnum.dll, corvid.dll and the programs contain code of the packages below.\n")
foreach(package IN ITEMS gcc-mingw-w64-base mingw-w64-x86-64-dev liblapack-dev
    libz-mingw-w64-dev libcli11-dev libfmt-dev libtomlplusplus-dev)
  set(licence ${CORVIDNUM_LICENCES_FROM}/${package}/copyright)
  if(EXISTS ${licence})
    file(READ ${licence} licence_text)
    string(APPEND text "\n======== ${package} ========\n\n${licence_text}")
  else()
    message(WARNING "${licence} is missing: add the licence to ${notices} before the archive is given to others")
  endif()
endforeach()
file(WRITE ${notices} "${text}")
install(FILES ${notices} DESTINATION . COMPONENT runtime)

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME corvidnum)
set(CPACK_PACKAGE_VENDOR "Corvid Numerics")
set(CPACK_PACKAGE_FILE_NAME corvidnum-${PROJECT_VERSION}-windows-x86_64)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
